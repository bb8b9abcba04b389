#include "schedule/changes.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/rpc4/failure.h"
#include "schedule/new_revisions.h"
#include "schedule/query.h"
#include "schedule/structure.h"
#include "tests/schedule/failing_project.h"
#include "tests/support/records.h"
#include "tests/support/store_test.h"

namespace korvane::schedule {
namespace {

using namespace model::cad;
using test::FailingProject;
using test::Killed;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::ThrowsMessage;

class Changes : public test::StoreTest {
 protected:
  Changes() : user_(project()) {
    material_ = make_material();
    fabric_type_ = make_fabric_type(material_);
    sheet_ = make_sheet();
    revision_ = make_revision(sheet_);
    other_ = make_revision(sheet_);
  }

  /// Lines of every kind. Those of two tags differ, but for the treatment of their bars.
  Content content(const std::string& tag) const {
    Content content;
    Rebar bar = test::full_rebar(0, material_);
    bar.comment = tag;
    bar.end_treatment_start.set(test::treatment("shared"));
    content.bars = {bar, test::minimal_bar(0, material_)};
    Fabric fabric = test::full_fabric(0, fabric_type_);
    fabric.comment = tag;
    content.fabrics = {fabric};
    BarSpacer spacer = test::full_bar_spacer(0);
    spacer.name = tag;
    content.bar_spacers = {spacer, spacer};
    MountingPart part = test::full_mounting_part(0, material_);
    part.mark = tag;
    content.mounting_parts = {part};
    return content;
  }

  /// As it is read back from the revision.
  Content placed(Content content, std::int32_t rev_id) const {
    for_each_kind(
        [&](auto& list) {
          for (auto& item : list) {
            item.sheet_id = sheet_;
            item.rev_id = rev_id;
          }
        },
        content);
    return content;
  }

  /// What readers see; none for a revision that they do not see.
  std::optional<Content> seen(std::int32_t rev_id) {
    const Structure structure = read_structure(project());
    for (const SelectedRevision& selected : select_revisions(structure, {})) {
      if (selected.revision->record.id != rev_id) continue;
      const std::int32_t content_id = selected.revision->content_id;
      Content content = ContentReader(project()).read(content_id);
      if (content_id != rev_id) content = placed(std::move(content), rev_id);
      return content;
    }
    return std::nullopt;
  }

  /// Runs `change` again and again, killed after ever more operations, until it comes to its end.
  /// `prepare` comes before each run, `check` after it, and again after the next change's recovery.
  void kill_everywhere(const std::function<void()>& prepare,
                       const std::function<void(Project_Service&)>& change,
                       const std::function<void()>& check) {
    for (std::size_t operations = 0;; ++operations) {
      SCOPED_TRACE("killed after " + std::to_string(operations) + " operations");
      prepare();
      user_.kill_after(operations);
      bool is_killed = false;
      try {
        change(user_);
      } catch (const Killed&) {
        is_killed = true;
      }
      user_.let_live();
      check();
      finish_changes(user_);
      check();
      expect_nothing_left();
      if (!is_killed) {
        EXPECT_GT(operations, 5U);
        return;
      }
      ASSERT_LT(operations, 200U);
    }
  }

  /// No mark, and no line of a revision that is not there.
  void expect_nothing_left() {
    EXPECT_THAT(read_structure(project()).marks, IsEmpty());
    for (const std::string table : {"rebar", "fabric", "barspacer", "mountingpart"}) {
      EXPECT_THAT(
          rows("select rev_id from " + table + " where rev_id not in (select id from revision)"),
          IsEmpty())
          << table;
    }
  }

  void empty(std::int32_t rev_id) {
    query("delete from mountingpart where rev_id = " + std::to_string(rev_id));
    clear(rev_id);
  }

  FailingProject user_;
  std::int32_t material_ = 0;
  std::int32_t fabric_type_ = 0;
  std::int32_t sheet_ = 0;
  std::int32_t revision_ = 0;
  std::int32_t other_ = 0;
};

TEST_F(Changes, ReplaceAllLinesUnderTheSameId) {
  add_content(project(), sheet_, revision_, content("old"));
  replace_content(project(), revision_, content("new"));
  EXPECT_EQ(seen(revision_), placed(content("new"), revision_));
  EXPECT_THAT(rows("select distinct rev_id from rebar"),
              ElementsAre(ElementsAre(std::to_string(revision_))));
  expect_nothing_left();
}

TEST_F(Changes, LeaveTheRecordOfTheRevisionAsItWas) {
  const test::Rows before =
      rows("select uid, sheet_id, raw from revision where id = " + std::to_string(revision_));
  replace_content(project(), revision_, content("new"));
  EXPECT_EQ(rows("select uid, sheet_id, raw from revision where id = " + std::to_string(revision_)),
            before);
}

TEST_F(Changes, LeaveOtherRevisionsWithTheTreatmentsThatTheyShare) {
  add_content(project(), sheet_, revision_, content("old"));
  add_content(project(), sheet_, other_, content("other"));
  const std::string sql =
      "select end_treatment_start, end_treatment_end from rebar where rev_id = " +
      std::to_string(other_) + " order by id";
  const test::Rows before = rows(sql);
  replace_content(project(), revision_, content("new"));
  remove_revision(project(), revision_);
  EXPECT_EQ(rows(sql), before);
  EXPECT_EQ(seen(other_), placed(content("other"), other_));
}

TEST_F(Changes, OfARevisionThatIsNotThereAreRefused) {
  EXPECT_THAT([&] { replace_content(project(), 99, {}); },
              ThrowsMessage<krv::rpc4::NotFound>("no revision 99 in this project"));
  EXPECT_THAT([&] { remove_revision(project(), 99); },
              ThrowsMessage<krv::rpc4::NotFound>("no revision 99 in this project"));
  expect_nothing_left();
}

TEST_F(Changes, ReplaceAllOrNothingWhereverTheyAreKilled) {
  const Content old = placed(content("old"), revision_);
  const Content wanted = placed(content("new"), revision_);
  bool is_old_seen = false;
  kill_everywhere(
      [&] {
        empty(revision_);
        add_content(project(), sheet_, revision_, content("old"));
      },
      [&](Project_Service& project) { replace_content(project, revision_, content("new")); },
      [&] {
        const std::optional<Content> found = seen(revision_);
        ASSERT_TRUE(found);
        EXPECT_TRUE(*found == old || *found == wanted);
        is_old_seen = is_old_seen || *found == old;
      });
  EXPECT_TRUE(is_old_seen);
  EXPECT_EQ(seen(revision_), wanted);
}

TEST_F(Changes, RemoveAllOrNothingWhereverTheyAreKilled) {
  std::int32_t victim = 0;
  std::optional<Content> old;
  kill_everywhere(
      [&] {
        victim = make_revision(sheet_);
        add_content(project(), sheet_, victim, content("old"));
        old = placed(content("old"), victim);
      },
      [&](Project_Service& project) { remove_revision(project, victim); },
      [&] {
        const std::optional<Content> found = seen(victim);
        EXPECT_TRUE(!found || found == old);
      });
  EXPECT_EQ(seen(victim), std::nullopt);
}

TEST_F(Changes, RemoveASheetWithItsBarSpacers) {
  add_content(project(), sheet_, revision_, content("a"));
  add_content(project(), sheet_, other_, content("b"));
  remove_sheet(project(), sheet_);
  EXPECT_EQ(count("sheet"), 0);
  EXPECT_EQ(count("revision"), 0);
  EXPECT_EQ(count("barspacer"), 0);
  EXPECT_EQ(count("rebar"), 0);
}

TEST_F(Changes, RemoveNoSheetOfWhichAnotherProgramChangesARevision) {
  // The mark has a lower id than all that it could be taken for.
  Revision marked;
  marked.sheet_id = sheet_;
  marked.uid = "mark";
  ChangeMark mark;
  mark.uid = "mark";
  RevisionRef ref;
  project().create_revision(marked, ref);
  const std::int32_t changed = make_revision(sheet_);
  mark.changed_revision = changed;
  std::optional<OwnChange> other_program(mark);
  write_mark(mark, marked.properties);
  marked.id = ref.id.value();
  GenericReply reply;
  project().update_revision(marked, reply);
  add_content(project(), sheet_, changed, content("a"));
  const std::int64_t revisions = count("revision");
  EXPECT_THAT([&] { remove_sheet(project(), sheet_); },
              ThrowsMessage<krv::rpc4::BadRequest>("revision " + std::to_string(changed) +
                                                   " is being changed by another program"));
  EXPECT_EQ(count("revision"), revisions);
  EXPECT_EQ(count("rebar"), 2);
  other_program.reset();
  remove_sheet(project(), sheet_);
  EXPECT_EQ(count("revision"), 0);
}

TEST_F(Changes, OfARevisionThatAnotherProgramChangesAreRefused) {
  Revision marked;
  marked.sheet_id = sheet_;
  marked.uid = "mark";
  ChangeMark mark;
  mark.uid = "mark";
  mark.changed_revision = revision_;
  std::optional<OwnChange> other_program(mark);
  write_mark(mark, marked.properties);
  RevisionRef ref;
  project().create_revision(marked, ref);
  const std::string refusal =
      "revision " + std::to_string(revision_) + " is being changed by another program";
  EXPECT_THAT([&] { replace_content(project(), revision_, content("new")); },
              ThrowsMessage<krv::rpc4::BadRequest>(refusal));
  EXPECT_THAT([&] { remove_revision(project(), revision_); },
              ThrowsMessage<krv::rpc4::BadRequest>(refusal));
  EXPECT_NO_THROW(replace_content(project(), other_, content("new")));
  other_program.reset();
  EXPECT_NO_THROW(replace_content(project(), revision_, content("new")));
  expect_nothing_left();
}

TEST_F(Changes, ThatFailLeaveNothingBehind) {
  add_content(project(), sheet_, revision_, content("old"));
  Content wrong = content("new");
  wrong.bars.back().material_id.set(99);
  EXPECT_ANY_THROW(replace_content(project(), revision_, wrong));
  EXPECT_EQ(seen(revision_), placed(content("old"), revision_));
  expect_nothing_left();
}

TEST_F(Changes, WithoutSqlAreRefusedBeforeAnythingBegins) {
  add_content(project(), sheet_, revision_, content("old"));
  const test::Rows before = rows("select * from revision");
  user_.forbid_sql();
  EXPECT_THAT([&] { replace_content(user_, revision_, content("new")); },
              ThrowsMessage<std::runtime_error>("403 no sql"));
  EXPECT_EQ(rows("select * from revision"), before);
  EXPECT_EQ(seen(revision_), placed(content("old"), revision_));
}

TEST_F(Changes, WithoutSqlFillARevisionThatIsEmpty) {
  user_.forbid_sql();
  replace_content(user_, revision_, content("new"));
  EXPECT_EQ(seen(revision_), placed(content("new"), revision_));
  expect_nothing_left();
}

TEST_F(Changes, WithoutSqlRemoveARevision) {
  add_content(project(), sheet_, revision_, content("old"));
  user_.forbid_sql();
  remove_revision(user_, revision_);
  EXPECT_EQ(seen(revision_), std::nullopt);
  expect_nothing_left();
}

class ForeignMarks : public Changes {
 protected:
  /// As anyone may write it.
  std::int32_t make_marked(const std::string& text, std::int32_t changed, std::int32_t sheet) {
    Revision marked;
    marked.sheet_id = sheet;
    marked.properties[kChangeProperty].value_int32.set(changed);
    marked.properties[kChangeProperty].value_string.set(text);
    RevisionRef ref;
    project().create_revision(marked, ref);
    return ref.id.value();
  }
};

TEST_F(ForeignMarks, ThatBeganInTheFutureKeepNobodyAway) {
  for (const char* const begun : {"99999999999", "9223372036854775807", "-9223372036854775808"}) {
    make_marked("filling elsewhere:1:1 " + std::string(begun), revision_, sheet_);
    EXPECT_NO_THROW(replace_content(project(), revision_, content(begun)));
    EXPECT_EQ(seen(revision_), placed(content(begun), revision_));
    expect_nothing_left();
  }
}

TEST_F(ForeignMarks, ThatTheirRecordCannotBearAreNone) {
  const std::int32_t revision = make_marked("importing a:1:1 0", 0, sheet_);
  Sheet sheet;
  sheet.properties[kChangeProperty].value_string.set("removing a:1:1 0");
  sheet.properties[kChangeProperty].value_int32.set(revision_);
  SheetRef ref;
  project().create_sheet(sheet, ref);
  finish_changes(project());
  EXPECT_EQ(count("sheet"), 2);
  EXPECT_EQ(seen(revision_), Content());
  EXPECT_EQ(seen(revision), Content());
}

TEST_F(ForeignMarks, ThatCannotBeFinishedHoldUpNoOtherChange) {
  const std::int32_t lost = make_revision(sheet_);
  schedule::execute(project(),
                    "update revision set sheet_id = null where id = " + std::to_string(lost));
  make_marked("whole a:1:1 0", lost, sheet_);
  EXPECT_NO_THROW(replace_content(project(), revision_, content("new")));
  EXPECT_EQ(seen(revision_), placed(content("new"), revision_));
  EXPECT_ANY_THROW(replace_content(project(), lost, content("new")));
}

TEST_F(ForeignMarks, ThatNameEachOtherComeToAnEnd) {
  const std::int32_t first = make_marked("removing a:1:1 0", revision_ + 3, sheet_);
  make_marked("whole a:1:1 0", first, sheet_);
  make_marked("whole a:1:1 0", revision_, sheet_);
  EXPECT_NO_THROW(finish_changes(project()));
  EXPECT_NO_THROW(finish_changes(project()));
  expect_nothing_left();
}

class NewSheets : public Changes {
 protected:
  static std::vector<NewRevisions::NewSheet> wanted() {
    std::vector<NewRevisions::NewSheet> sheets(2);
    for (std::size_t i = 0; i < sheets.size(); ++i) {
      sheets[i].record.name = "new " + std::to_string(i);
      sheets[i].revisions.resize(2);
      sheets[i].revisions[0].name = "a";
      sheets[i].revisions[1].name = "b";
    }
    return sheets;
  }

  void import(Project_Service& project) {
    NewRevisions revisions(project);
    std::vector<NewRevisions::NewSheet> sheets = wanted();
    revisions.make(sheets);
    for (const NewRevisions::NewSheet& sheet : sheets) {
      for (const Revision& revision : sheet.revisions) {
        add_content(project, sheet.record.id, revision.id, content("new"));
      }
    }
    revisions.finish();
  }

  /// The names of the sheets that readers see, with the number of lines of each revision.
  std::vector<std::string> seen_sheets() {
    const Structure structure = read_structure(project());
    const ContentReader reader(project());
    std::vector<std::string> seen;
    for (const SheetEntry& sheet : structure.sheets) {
      std::string text = sheet.record.name + ":";
      for (const RevisionEntry& revision : sheet.revisions) {
        text += " " + revision.record.name + std::to_string(reader.size(revision.content_id));
      }
      seen.push_back(text);
    }
    return seen;
  }
};

TEST_F(NewSheets, AreSeenAllAtOnceWhenTheyAreFinished) {
  {
    NewRevisions revisions(project());
    std::vector<NewRevisions::NewSheet> sheets = wanted();
    revisions.make(sheets);
    EXPECT_GT(sheets[1].record.id, sheet_);
    EXPECT_EQ(sheets[1].revisions[0].sheet_id, sheets[1].record.id);
    EXPECT_THAT(seen_sheets(), SizeIs(1));
    revisions.finish();
  }
  EXPECT_THAT(seen_sheets(), ElementsAre(": 0 0", "new 0: a0 b0", "new 1: a0 b0"));
  expect_nothing_left();
}

TEST_F(NewSheets, AreTakenBackUnlessFinished) {
  {
    NewRevisions revisions(project());
    std::vector<NewRevisions::NewSheet> sheets = wanted();
    revisions.make(sheets);
    add_content(project(), sheets[0].record.id, sheets[0].revisions[0].id, content("new"));
  }
  EXPECT_THAT(seen_sheets(), SizeIs(1));
  EXPECT_EQ(count("sheet"), 1);
  EXPECT_EQ(count("barspacer"), 0);
  expect_nothing_left();
}

TEST_F(NewSheets, AreAllThereOrNoneWhereverTheImportIsKilled) {
  kill_everywhere(
      [&] {
        const Structure structure = read_structure(project());
        for (const SheetEntry& sheet : structure.sheets) {
          if (sheet.record.id != sheet_) remove_sheet(project(), sheet.record.id);
        }
      },
      [&](Project_Service& project) { import(project); },
      [&] {
        const std::vector<std::string> found = seen_sheets();
        EXPECT_TRUE(found.size() == 1 ||
                    found == std::vector<std::string>({": 0 0", "new 0: a6 b6", "new 1: a6 b6"}))
            << testing::PrintToString(found);
      });
  EXPECT_THAT(seen_sheets(), SizeIs(3));
}

TEST_F(NewSheets, AreMadeAndTakenBackWithoutSqlToo) {
  user_.forbid_sql();
  user_.kill_after(25);
  EXPECT_THROW(import(user_), Killed);
  user_.let_live();
  EXPECT_THAT(seen_sheets(), SizeIs(1));
  import(user_);
  EXPECT_THAT(seen_sheets(), ElementsAre(": 0 0", "new 0: a6 b6", "new 1: a6 b6"));
  expect_nothing_left();
}

TEST_F(NewSheets, KeepTheUidsThatTheyHave) {
  NewRevisions revisions(project());
  std::vector<NewRevisions::NewSheet> sheets = wanted();
  sheets[0].record.uid = "sheet uid";
  sheets[0].revisions[1].uid = "revision uid";
  revisions.make(sheets);
  revisions.finish();
  EXPECT_EQ(value("select id from sheet where uid = 'sheet uid'"),
            std::to_string(sheets[0].record.id));
  EXPECT_EQ(value("select id from revision where uid = 'revision uid'"),
            std::to_string(sheets[0].revisions[1].id));
}

TEST_F(NewSheets, AddRevisionsToASheetThatIsThere) {
  NewRevisions revisions(project());
  std::vector<NewRevisions::NewSheet> sheets = wanted();
  sheets[0].record.id = sheet_;
  revisions.make(sheets);
  EXPECT_THAT(seen_sheets(), ElementsAre(": 0 0"));
  revisions.finish();
  EXPECT_THAT(seen_sheets(), ElementsAre(": 0 0 a0 b0", "new 1: a0 b0"));
}

}  // namespace
}  // namespace korvane::schedule
