#include "schedule/import.h"

#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/rpc4/failure.h"
#include "schedule/bvbs/write_schedule.h"
#include "schedule/changes.h"
#include "schedule/content.h"
#include "schedule/structure.h"
#include "tests/schedule/bvbs/record_text.h"
#include "tests/schedule/failing_project.h"
#include "tests/support/records.h"
#include "tests/support/store_test.h"
#include "tests/support/text_of.h"

namespace korvane::schedule {
namespace {

using namespace model::cad;
using test::straight_bar;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::ThrowsMessage;

class Import : public test::StoreTest {
 protected:
  std::vector<ImportedRevision> import(const std::string& text,
                                       IfFilled if_filled = IfFilled::refuse,
                                       const ImportNames& names = {}) {
    return import_plan(project(), ImportPlan({{"source.abs", text}}, names), if_filled).revisions;
  }
  std::vector<ImportedRevision> import_guideline(IfFilled if_filled = IfFilled::refuse,
                                                 const ImportNames& names = {}) {
    return import(guideline_, if_filled, names);
  }

  /// The marks of a revision's bars, in order.
  std::vector<std::string> marks_of(std::int32_t rev_id) {
    std::vector<std::string> marks;
    for (const Rebar& bar : bars_of(rev_id)) marks.push_back(bar.mark);
    return marks;
  }

  /// What readers see.
  std::vector<std::string> names_seen() {
    const Structure structure = read_structure(project());
    std::vector<std::string> names;
    for (const SelectedRevision& selected : select_revisions(structure, {})) {
      names.push_back(name_of(selected));
    }
    return names;
  }

  ProjectData project_record() {
    ProjectData data;
    project().get_project({}, data);
    return data;
  }

  /// The project as a document.
  std::string document() {
    std::string text;
    write_document(project(), {}, DocumentForm::json, [&](std::string_view part) { text += part; });
    return text;
  }

  MountingPart add_mounting_part(std::int32_t rev_id) {
    MountingPart part = test::minimal_mounting_part(rev_id, make_material());
    part.mark = "M1";
    add<MountingPart>({part});
    return part;
  }

  const std::string guideline_ = test::text_of(KORVANE_EXAMPLES "/guideline.abs");
};

TEST_F(Import, GuidelineBecomesOneSheetItsRevisionsAndSteels) {
  const auto imported = import_guideline();
  ASSERT_THAT(imported, SizeIs(2));
  EXPECT_EQ(imported[0].sheet, "417");
  EXPECT_EQ(imported[0].revision, "a");
  EXPECT_EQ(imported[0].bars, 16U);
  EXPECT_EQ(imported[0].fabrics, 3U);
  EXPECT_EQ(imported[0].bar_spacers, 0U);
  EXPECT_EQ(imported[0].lines_before, 0U);
  // The spacers of the guideline have an empty drawing index.
  EXPECT_EQ(imported[1].revision, "");
  EXPECT_EQ(imported[1].bar_spacers, 2U);
  EXPECT_EQ(count("sheet"), 1);
  EXPECT_EQ(count("material"), 2);
}

TEST_F(Import, BarsAreThereAfterTheFileIsOpenedAgain) {
  const std::int32_t rev_id = import_guideline()[0].id;
  const std::vector<Rebar> before = bars_of(rev_id);
  reopen();
  EXPECT_EQ(bars_of(rev_id), before);
  EXPECT_THAT(before, SizeIs(16));
}

TEST_F(Import, LinesGoToTheSheetTheRevisionAndTheSteelOfTheirRecord) {
  const auto imported = import(straight_bar("r1@ia@gB500A@p1@") + straight_bar("r2@ib@gB@p2@"));
  ASSERT_THAT(imported, SizeIs(2));
  const Structure structure = read_structure(project());
  for (const std::size_t i : {0U, 1U}) {
    const std::vector<Rebar> bars = bars_of(imported[i].id);
    ASSERT_THAT(bars, SizeIs(1));
    EXPECT_EQ(bars[0].mark, std::to_string(i + 1));
    EXPECT_EQ(bars[0].sheet_id, structure.sheets[i].record.id);
    EXPECT_EQ(bars[0].rev_id, structure.sheets[i].revisions[0].record.id);
  }
  EXPECT_THAT(names_seen(),
              ElementsAre("sheet \"1\", revision \"a\"", "sheet \"2\", revision \"b\""));
  EXPECT_NE(bars_of(imported[0].id)[0].material_id, bars_of(imported[1].id)[0].material_id);
}

TEST_F(Import, LinesOfADrawingThatStandApartComeInTheirOrder) {
  const auto imported =
      import(straight_bar("r1@ia@p1@") + straight_bar("r2@ia@p2@") + straight_bar("r1@ia@p3@"));
  EXPECT_THAT(marks_of(imported[0].id), ElementsAre("1", "3"));
  EXPECT_THAT(marks_of(imported[1].id), ElementsAre("2"));
}

TEST_F(Import, FabricsOfOneTypeShareItsCatalogueEntry) {
  import_guideline();
  EXPECT_EQ(count("fabric"), 3);
  EXPECT_EQ(count("fabric_type"), 2);
  for (const Fabric& fabric : fabrics_of(1)) {
    EXPECT_EQ(fabric.fabric_type.type_name, fabric.type_name);
    EXPECT_GT(fabric.fabric_type.material.id, 0);
  }
}

TEST_F(Import, ASteelThatIsThereByItsNameIsUsed) {
  Material steel;
  steel.identity.name = "B500A";
  MaterialRef ref;
  project().create_material(steel, ref);
  const auto imported = import(straight_bar("r1@ia@gB500A@p1@"));
  EXPECT_EQ(*bars_of(imported[0].id)[0].material_id, ref.id.value());
  EXPECT_EQ(count("material"), 1);
}

TEST_F(Import, AFabricTypeThatIsThereByItsNameStaysAsItIs) {
  make_fabric_type(make_material(), "Q257");
  const test::NamedRow before = only_row("fabric_type");
  const auto imported = import(test::line_of("BFMA@Hj@r1@ia@p7@l4000@n1@e1@gB@s@mQ257@b2150@v@C"));
  EXPECT_EQ(only_row("fabric_type"), before);
  EXPECT_EQ(fabrics_of(imported[0].id)[0].fabric_type.overall_length, 0.0);
}

TEST_F(Import, ASheetThatIsNamedAfterItsSourceSaysSo) {
  import(straight_bar("r@ia@p1@") + straight_bar("r2@ia@p2@"));
  const Structure structure = read_structure(project());
  ASSERT_THAT(structure.sheets, SizeIs(2));
  EXPECT_EQ(structure.sheets[0].record.name, "source");
  EXPECT_EQ(*structure.sheets[0].record.properties.at(bvbs::kNameInsteadProperty).value_string,
            "source");
  EXPECT_THAT(structure.sheets[1].record.properties, IsEmpty());
}

TEST_F(Import, ASheetThatAnyRecordNamesIsNotNamedAfterItsSource) {
  import(straight_bar("r@ia@p1@") + straight_bar("rsource@ib@p2@"));
  import(straight_bar("r@ic@p1@"), IfFilled::refuse, {"given", std::nullopt});
  for (const SheetEntry& sheet : read_structure(project()).sheets) {
    EXPECT_THAT(sheet.record.properties, IsEmpty()) << sheet.record.name;
  }
}

TEST_F(Import, AnotherRevisionSharesSheetAndSteels) {
  import_guideline();
  import_guideline(IfFilled::refuse, {std::nullopt, "b"});
  EXPECT_EQ(count("sheet"), 1);
  EXPECT_EQ(count("revision"), 3);
  EXPECT_EQ(count("material"), 2);
}

TEST_F(Import, ProjectNameReachesTheProjectRecord) {
  import_guideline();
  EXPECT_EQ(*project_record().properties.at("project").value_string, "TestPDF");
}

TEST_F(Import, AProjectNameThatIsThereIsKept) {
  UpdateProject update;
  update.item.properties["project"].value_string.set("Tower");
  GenericReply reply;
  project().update_project(update, reply);
  import_guideline();
  EXPECT_EQ(*project_record().properties.at("project").value_string, "Tower");
}

TEST_F(Import, FaultyRecordsAreLeftOut) {
  const auto imported = import("BF2D@Hp1@C65@\n" + straight_bar("r1@ia@p2@") + "x\n");
  ASSERT_THAT(imported, SizeIs(1));
  EXPECT_THAT(marks_of(imported[0].id), ElementsAre("2"));
}

TEST_F(Import, ASecondImportIntoTheSameRevisionIsRefused) {
  import_guideline();
  EXPECT_THAT(
      [&] { import_guideline(); },
      ThrowsMessage<krv::rpc4::BadRequest>(
          "revision \"a\" of sheet \"417\" has 19 schedule lines already: replace them, append to "
          "them, or name another revision (and 1 other revision has lines)"));
  EXPECT_THAT(bars_of(1), SizeIs(16));
}

TEST_F(Import, ARefusedImportStoresNothing) {
  import(straight_bar("r1@ia@p1@"));
  const auto before = counts();
  EXPECT_THAT([&] { import(straight_bar("r2@ia@gnew@p1@") + straight_bar("r1@ia@p1@")); },
              ThrowsMessage<krv::rpc4::BadRequest>(
                  "revision \"a\" of sheet \"1\" has 1 schedule line already: replace them, append "
                  "to them, or name another revision"));
  EXPECT_EQ(counts(), before);
}

TEST_F(Import, ReplacePutsTheLinesInThePlaceOfTheOldOnes) {
  const std::int32_t rev_id = import(straight_bar("r1@ia@p1@") + straight_bar("r1@ia@p2@"))[0].id;
  const auto imported =
      import(straight_bar("r1@ia@p3@") + straight_bar("r1@ib@p4@"), IfFilled::replace);
  ASSERT_THAT(imported, SizeIs(2));
  EXPECT_EQ(imported[0].id, rev_id);
  EXPECT_EQ(imported[0].lines_before, 2U);
  EXPECT_EQ(imported[1].lines_before, 0U);
  EXPECT_THAT(marks_of(rev_id), ElementsAre("3"));
  EXPECT_THAT(marks_of(imported[1].id), ElementsAre("4"));
  EXPECT_EQ(count("rebar"), 2);
}

TEST_F(Import, CountsEachLineOnceInNewRevisionsAndInThoseThatAreThere) {
  import(straight_bar("r1@ia@p1@"));
  const std::string text =
      straight_bar("r1@ia@p2@") + straight_bar("r1@ib@p3@") + straight_bar("r1@ib@p4@");
  std::size_t last = 0;
  import_plan(project(), ImportPlan({{"source.abs", text}}, {}), IfFilled::append,
              [&](std::string_view, std::size_t done, std::size_t) { last = done; });
  EXPECT_EQ(last, 3U);
}

TEST_F(Import, AppendAddsTheLinesAfterTheOldOnes) {
  const std::int32_t rev_id = import(straight_bar("r1@ia@p1@") + straight_bar("r1@ia@p2@"))[0].id;
  const auto imported = import(straight_bar("r1@ia@p3@"), IfFilled::append);
  EXPECT_EQ(imported[0].bars, 1U);
  EXPECT_EQ(imported[0].lines_before, 2U);
  EXPECT_THAT(marks_of(rev_id), ElementsAre("1", "2", "3"));
}

TEST_F(Import, ReplacingEveryKindOfLineLeavesTheImportedOnes) {
  import_guideline();
  import_guideline(IfFilled::replace);
  EXPECT_EQ(count("rebar"), 16);
  EXPECT_EQ(count("fabric"), 3);
  EXPECT_EQ(count("barspacer"), 2);
  import_guideline(IfFilled::append);
  EXPECT_EQ(count("rebar"), 32);
  EXPECT_EQ(count("fabric"), 6);
  EXPECT_EQ(count("barspacer"), 4);
}

TEST_F(Import, MountingPartsAlwaysStay) {
  const std::int32_t rev_id = import(straight_bar("r1@ia@p1@"))[0].id;
  add_mounting_part(rev_id);
  for (const IfFilled if_filled : {IfFilled::replace, IfFilled::append}) {
    const auto imported = import(straight_bar("r1@ia@p2@"), if_filled);
    EXPECT_EQ(imported[0].lines_before, 1U);
    ASSERT_THAT(parts_of(rev_id), SizeIs(1));
    EXPECT_EQ(parts_of(rev_id)[0].mark, "M1");
  }
  EXPECT_THAT(marks_of(rev_id), ElementsAre("2", "2"));
}

TEST_F(Import, ARevisionThatIsThereWithoutLinesIsFilled) {
  Sheet sheet;
  sheet.name = "1";
  SheetRef sheet_ref;
  project().create_sheet(sheet, sheet_ref);
  Revision revision;
  revision.sheet_id = sheet_ref.id.value();
  revision.name = "a";
  revision.properties["drawn"].value_string.set("by hand");
  RevisionRef ref;
  project().create_revision(revision, ref);
  add_mounting_part(ref.id.value());

  const auto imported = import(straight_bar("r1@ia@p1@"));
  ASSERT_THAT(imported, SizeIs(1));
  EXPECT_EQ(imported[0].id, ref.id.value());
  EXPECT_EQ(imported[0].lines_before, 0U);
  EXPECT_THAT(marks_of(ref.id.value()), ElementsAre("1"));
  EXPECT_THAT(parts_of(ref.id.value()), SizeIs(1));
  EXPECT_EQ(count("revision"), 1);
  EXPECT_EQ(read_structure(project()).sheets[0].revisions[0].record.properties,
            revision.properties);
}

TEST_F(Import, AFailureTakesBackAllThatIsNew) {
  project();
  refuse("insert", "rebar", "true");
  EXPECT_ANY_THROW(import_guideline());
  EXPECT_THAT(counts(), Each(0));
  EXPECT_EQ(project_record(), ProjectData{});
  refuse_no_more();
  EXPECT_THAT(import_guideline(), SizeIs(2));
}

TEST_F(Import, AFailureLeavesWhatWasThere) {
  const std::int32_t rev_id = import(straight_bar("r1@ia@p1@"))[0].id;
  const auto before = counts();
  refuse("insert", "rebar", "new.mark = '3'");
  EXPECT_ANY_THROW(
      import(straight_bar("r2@ia@gnew@p2@") + straight_bar("r1@ia@gnew@p3@"), IfFilled::replace));
  refuse_no_more();
  EXPECT_THAT(marks_of(rev_id), ElementsAre("1"));
  EXPECT_THAT(names_seen(), ElementsAre("sheet \"1\", revision \"a\""));
  EXPECT_EQ(counts(), before);
}

TEST_F(Import, AKillAtAnyStepLeavesAllThatIsNewOrNothing) {
  test::FailingProject user(project());
  const ImportPlan plan({{"a.abs", straight_bar("r1@ia@p1@") + straight_bar("r1@ib@p2@") +
                                       straight_bar("r2@ia@p3@")}},
                        {});
  for (std::size_t operations = 0;; ++operations) {
    SCOPED_TRACE("killed after " + std::to_string(operations) + " operations");
    ASSERT_LT(operations, 100U);
    user.kill_after(operations);
    bool is_killed = false;
    try {
      import_plan(user, plan, IfFilled::refuse);
    } catch (const test::Killed&) {
      is_killed = true;
    }
    user.let_live();
    if (!is_killed) break;
    EXPECT_THAT(names_seen(), IsEmpty());
    finish_changes(user);
    EXPECT_THAT(names_seen(), IsEmpty());
    EXPECT_EQ(count("sheet"), 0);
    EXPECT_EQ(count("rebar"), 0);
  }
  EXPECT_THAT(names_seen(), SizeIs(3));
  EXPECT_EQ(count("rebar"), 3);
}

TEST_F(Import, ManyDrawingsTakeFewOperations) {
  std::string text;
  for (int i = 0; i < 200; ++i) {
    const std::string drawing = "r" + std::to_string(i) + "@ia@";
    text += straight_bar(drawing + "p1@") + straight_bar(drawing + "p2@");
  }
  const ImportPlan plan({{"many.abs", text}}, {});
  test::FailingProject user(project());
  user.kill_after(40);
  EXPECT_THAT(import_plan(user, plan, IfFilled::refuse).revisions, SizeIs(200));
  EXPECT_EQ(value("select count(*) from (select rev_id from rebar group by rev_id having "
                  "count(*) = 2)"),
            "200");
}

TEST_F(Import, ManyDrawingsAreTakenBackInFewOperations) {
  std::string text;
  for (int i = 0; i < 200; ++i) text += straight_bar("r" + std::to_string(i) + "@ia@p1@");
  const ImportPlan plan({{"many.abs", text}}, {});
  refuse("insert", "rebar", "new.mark = '1'");
  test::FailingProject user(project());
  user.kill_after(60);
  EXPECT_ANY_THROW(import_plan(user, plan, IfFilled::refuse));
  EXPECT_FALSE(user.is_killed());
  EXPECT_THAT(counts(), Each(0));
}

TEST_F(Import, BatchesSpanRevisionsAndMissNoLine) {
  std::string text;
  for (int i = 0; i < 4500; ++i) {
    text += straight_bar("r" + std::to_string(i % 3) + "@ia@p" + std::to_string(i) + "@");
  }
  std::vector<std::size_t> done;
  const auto imported =
      import_plan(project(), ImportPlan({{"many.abs", text}}, {}), IfFilled::refuse,
                  [&](std::string_view step, std::size_t part, std::size_t total) {
                    EXPECT_EQ(step, "storing");
                    EXPECT_EQ(total, 4500U);
                    done.push_back(part);
                  })
          .revisions;
  for (int i = 0; i < 3; ++i) {
    const std::vector<std::string> marks = marks_of(imported[static_cast<std::size_t>(i)].id);
    ASSERT_THAT(marks, SizeIs(1500));
    EXPECT_EQ(marks.front(), std::to_string(i));
    EXPECT_EQ(marks.back(), std::to_string(4497 + i));
  }
  EXPECT_EQ(done.back(), 4500U);
}

TEST_F(Import, SchedulesAndDocumentsComeTogether) {
  const std::int32_t rev_id = import(straight_bar("r1@ia@p1@"))[0].id;
  add_mounting_part(rev_id);
  const std::string text = document();
  remove_sheet(project(), bars_of(rev_id)[0].sheet_id);

  const ImportPlan plan({{"a.json", text}, {"b.abs", straight_bar("r2@ia@p2@")}}, {});
  EXPECT_EQ(plan.size(), 3U);
  const ImportResult result = import_plan(project(), plan, IfFilled::refuse);
  EXPECT_THAT(names_seen(),
              ElementsAre("sheet \"2\", revision \"a\"", "sheet \"1\", revision \"a\""));
  ASSERT_THAT(result.revisions, SizeIs(2));
  EXPECT_THAT(marks_of(result.revisions[0].id), ElementsAre("2"));
  EXPECT_THAT(marks_of(result.revisions[1].id), ElementsAre("1"));
  EXPECT_EQ(result.revisions[1].mounting_parts, 1U);
  EXPECT_THAT(parts_of(result.revisions[1].id), SizeIs(1));
}

TEST_F(Import, ADocumentWhoseRevisionHasLinesIsRefusedBeforeAnythingIsStored) {
  import(straight_bar("r1@ia@p1@"));
  const std::string text = document();
  const auto before = counts();
  const ImportPlan plan({{"b.abs", straight_bar("r2@ia@gnew@p2@")}, {"a.json", text}}, {});
  EXPECT_THAT([&] { import_plan(project(), plan, IfFilled::refuse); },
              ThrowsMessage<krv::rpc4::BadRequest>(
                  "a.json: sheet \"1\", revision \"a\" has 1 line already"));
  EXPECT_EQ(counts(), before);
  import_plan(project(), plan, IfFilled::replace);
  EXPECT_EQ(count("rebar"), 2);
}

TEST_F(Import, NotesOfADocumentNameTheirSource) {
  import(straight_bar("r1@ia@p1@"));
  UpdateProject update;
  update.item.properties["client"].value_string.set("Smith");
  GenericReply reply;
  project().update_project(update, reply);
  const std::string text = document();
  update.item.properties["client"].value_string.set("Jones");
  project().update_project(update, reply);
  const ImportResult result =
      import_plan(project(), ImportPlan({{"a.json", text}}, {}), IfFilled::replace);
  EXPECT_THAT(result.notes,
              ElementsAre("a.json: the project has another \"client\", which is kept"));
}

}  // namespace
}  // namespace korvane::schedule
