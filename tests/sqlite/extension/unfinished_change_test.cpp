#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "schedule/change_mark.h"
#include "schedule/content.h"
#include "schedule/structure.h"
#include "tests/sqlite/extension/loaded_connection.h"
#include "tests/support/store_test.h"

namespace korvane {
namespace {

using namespace model::cad;
using schedule::ChangeMark;
using schedule::ChangeStep;
using test::LoadedConnection;
using test::Row;
using test::Rows;

/// A project with the revisions 1 and 2 of one sheet and 3 of another, each with a bar, a fabric, a
/// bar spacer and a mounting part.
class UnfinishedChange : public test::StoreTest {
 protected:
  UnfinishedChange() {
    material_ = make_material();
    fabric_type_ = make_fabric_type(material_);
    const std::int32_t sheet = make_sheet("first");
    fill(make_revision(sheet, "one"));
    fill(make_revision(sheet, "two"));
    fill(make_revision(make_sheet("second"), "three"));
  }

  void fill(std::int32_t revision) {
    add({test::minimal_bar(revision, material_)});
    add({test::minimal_fabric(revision, fabric_type_)});
    add({test::minimal_bar_spacer(revision)});
    add({test::minimal_mounting_part(revision, material_)});
  }

  /// Makes revision `stage` one that stands for a change of `changed`.
  void mark_revision(std::int32_t stage, ChangeStep step, std::int32_t changed) {
    Revision revision;
    project().get_revision(schedule::revision_ref(stage), revision);
    ChangeMark mark;
    mark.step = step;
    mark.changed_revision = changed;
    mark.owner = "elsewhere";
    schedule::write_mark(mark, revision.properties);
    revision.id = stage;
    GenericReply reply;
    project().update_revision(revision, reply);
  }

  std::int32_t mark_import(const std::set<std::string>& made) {
    Sheet sheet;
    sheet.uid = "import";
    ChangeMark mark;
    mark.step = ChangeStep::importing;
    mark.made_uids = made;
    schedule::write_mark(mark, sheet.properties);
    SheetRef reply;
    project().create_sheet(sheet, reply);
    return reply.id.value();
  }

  /// What is to be seen, as the commands see it.
  void expect_the_commands_view() {
    const schedule::Structure structure = schedule::read_structure(project());
    const schedule::ContentReader reader(project());
    std::set<Row> sheets;
    std::set<Row> revisions;
    std::set<Row> bars;
    std::set<Row> spacers;
    for (const auto& sheet : structure.sheets) {
      if (sheet.record.id != -1) sheets.insert({std::to_string(sheet.record.id)});
      for (const auto& revision : sheet.revisions) {
        const std::string id = std::to_string(revision.record.id);
        revisions.insert({id, std::to_string(revision.content_id)});
        bars.insert({id, std::to_string(reader.read(revision.content_id).bars.size())});
        spacers.insert({id, std::to_string(reader.read(revision.content_id).bar_spacers.size())});
      }
    }
    const LoadedConnection connection(file());
    const auto found = [&](const std::string& sql) {
      const Rows rows = connection.rows(sql);
      return std::set<Row>(rows.begin(), rows.end());
    };
    EXPECT_EQ(found("select id from sheets"), sheets);
    EXPECT_EQ(found("select id, content_id from revisions"), revisions);
    for (const char* const view : {"bars", "fabrics", "mounting_parts"}) {
      EXPECT_EQ(found(std::string("select r.id, count(t.id) from revisions r left join ") + view +
                      " t on t.rev_id = r.id group by r.id"),
                bars)
          << view;
    }
    EXPECT_EQ(found("select r.id, count(t.id) from revisions r left join bar_spacers t "
                    "on t.rev_id = r.id group by r.id"),
              spacers);
  }

  Rows view(const std::string& sql) const { return LoadedConnection(file()).rows(sql); }

  std::int32_t material_ = 0;
  std::int32_t fabric_type_ = 0;
};

TEST_F(UnfinishedChange, IsNotThere) {
  expect_the_commands_view();
  EXPECT_EQ(view("select rev_id from bars"), (Rows{{"1"}, {"2"}, {"3"}}));
  EXPECT_EQ(view("select * from unfinished_changes"), Rows());
}

TEST_F(UnfinishedChange, HidesTheStageThatIsFilled) {
  mark_revision(2, ChangeStep::filling, 1);
  expect_the_commands_view();
  EXPECT_EQ(view("select id, rev_id from bars"), (Rows{{"1", "1"}, {"3", "3"}}));
  EXPECT_EQ(view("select step, stage_rev_id, rev_id, sheet_id from unfinished_changes"),
            (Rows{{"filling", "2", "1", test::kNull}}));
}

TEST_F(UnfinishedChange, ShowsTheWholeStageAsTheContentOfItsRevision) {
  add({test::minimal_bar(1, material_)});
  mark_revision(2, ChangeStep::whole, 1);
  expect_the_commands_view();
  EXPECT_EQ(view("select id, rev_id from bars"), (Rows{{"2", "1"}, {"3", "3"}}));
  EXPECT_EQ(view("select id, content_id from revisions"), (Rows{{"1", "2"}, {"3", "3"}}));
}

TEST_F(UnfinishedChange, HidesTheStageWhoseContentIsPlaced) {
  mark_revision(2, ChangeStep::placed, 1);
  expect_the_commands_view();
}

TEST_F(UnfinishedChange, HidesTheRevisionThatIsRemoved) {
  mark_revision(2, ChangeStep::removing, 1);
  expect_the_commands_view();
  EXPECT_EQ(view("select rev_id from bars"), (Rows{{"3"}}));
}

TEST_F(UnfinishedChange, OfARevisionThatIsGoneShowsNothing) {
  mark_revision(2, ChangeStep::whole, 4711);
  expect_the_commands_view();
}

TEST_F(UnfinishedChange, ShowsTheLaterOfTwoWholeStages) {
  mark_revision(2, ChangeStep::whole, 1);
  mark_revision(3, ChangeStep::whole, 1);
  expect_the_commands_view();
}

TEST_F(UnfinishedChange, HidesWhatAnImportHasMadeSoFar) {
  mark_import({"two", "three", "second"});
  expect_the_commands_view();
  EXPECT_EQ(view("select rev_id from bars"), (Rows{{"1"}}));
  EXPECT_EQ(view("select id from sheets"), (Rows{{"1"}}));
}

TEST_F(UnfinishedChange, OfAnImportLeavesASheetThatHasOtherRevisions) {
  mark_import({"two", "first"});
  expect_the_commands_view();
}

TEST_F(UnfinishedChange, IsNotAPropertyThatOnlyLooksLikeIt) {
  for (const char* const text : {"", "whole", "wholes x 1", "importing x 1"}) {
    Revision revision;
    project().get_revision(schedule::revision_ref(2), revision);
    revision.properties[schedule::kChangeProperty].value_string.set(text);
    revision.properties["a"].value_string.set("korvane.change");
    revision.id = 2;
    GenericReply reply;
    project().update_revision(revision, reply);
    expect_the_commands_view();
  }
}

}  // namespace
}  // namespace korvane
