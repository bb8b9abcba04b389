#include "sqlite/repair.h"

#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/sqlite/damaged_project.h"
#include "tests/support/text_of.h"

namespace korvane::sqlite {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Lines = std::vector<std::string>;

class RepairOfAFile : public SoundProject {
 protected:
  Lines repair(const RepairOptions& options = {}) {
    Lines lines;
    for (const Repair& repair : repair_file(file(), options)) {
      lines.push_back((repair.is_done ? "done: " : "left: ") + repair.text);
    }
    return lines;
  }
  test::Rows all() const {
    test::Rows all;
    for (const std::string& table : test::kTables) {
      for (const test::Row& row : all_of(table)) all.push_back(row);
    }
    return all;
  }
};

TEST_F(RepairOfAFile, ThatIsSoundChangesNothing) {
  const std::string before = test::text_of(file());
  EXPECT_THAT(repair(), IsEmpty());
  EXPECT_EQ(test::text_of(file()), before);
}

TEST_F(RepairOfAFile, WritesWhatTheRecordsSay) {
  const test::Rows before = all();
  run_plainly(
      "update rebar set total_bars = 3, submark = null, A = 'x';"
      "update fabric set mark = x'00';"
      "update fabric_type set is_list_fabric = 1, type = 'x';"
      "update barspacer set sheet_id = 4; update mountingpart set cost = null");
  EXPECT_THAT(repair(), ElementsAre("done: barspacer 1: sheet_id is now 1, was 4",
                                    "done: rebar 1: submark is now 'b', was NULL",
                                    "done: rebar 1: total_bars is now 24, was 3",
                                    "done: rebar 1: A is now 1.125, was 'x'",
                                    "done: fabric_type 1: type is now 'Q188A', was 'x'",
                                    "done: fabric_type 1: is_list_fabric is now 0, was 1",
                                    "done: fabric 1: mark is now 'M17', was x'00'",
                                    "done: mountingpart 1: cost is now 81.25, was NULL"));
  EXPECT_EQ(all(), before);
  EXPECT_THAT(checked(), IsEmpty());
}

TEST_F(RepairOfAFile, LeavesTheRevisionOfARowAndAllOfItWhereItsRecordSaysAnother) {
  run_plainly(
      "insert into revision (id, uid, sheet_id, raw) "
      "select 2, 'second', sheet_id, raw from revision");
  run_plainly("update rebar set rev_id = 2, total_bars = 3");
  EXPECT_THAT(repair(), IsEmpty());
  EXPECT_EQ(value("select rev_id || ' ' || total_bars from rebar"), "2 3");
}

TEST_F(RepairOfAFile, LeavesARowWhoseRecordIsNotAllThatThereIs) {
  run_plainly(
      "update rebar set total_bars = 3, raw = cast(raw || x'00' as blob);"
      "update fabric set total_fabrics = 3, raw = null;"
      "update mountingpart set raw = (select raw from barspacer)");
  const Lines before = checked();
  EXPECT_THAT(repair(), IsEmpty());
  EXPECT_EQ(checked(), before);
}

TEST_F(RepairOfAFile, LeavesWhatAConstraintForbids) {
  run_plainly(
      "insert into material (id, uid, raw) select 2, 'two', raw from material where id = 1;"
      "update rebar set material_id = 2; update fabric_type set material_id = 2;"
      "update mountingpart set material_id = 2; delete from material where id = 1");
  EXPECT_THAT(repair(),
              ElementsAre("left: rebar 1: material_id stays as it is: constraint failed",
                          "left: fabric_type 1: material_id stays as it is: constraint failed",
                          "left: mountingpart 1: material_id stays as it is: constraint failed"));
  EXPECT_EQ(value("select material_id from rebar"), "2");
}

TEST_F(RepairOfAFile, LinksEndTreatments) {
  run_plainly(
      "update rebar set end_treatment_start = null, end_treatment_end = 77;"
      "delete from end_treatment where id = 1");
  EXPECT_THAT(
      repair(),
      ElementsAre("done: rebar 1: end_treatment_start is linked to the end treatment of its "
                  "record",
                  "done: rebar 1: end_treatment_end is linked to the end treatment of its "
                  "record"));
  EXPECT_EQ(value("select count(*) from end_treatment"), "2");
  EXPECT_EQ(value("select end_treatment_end from rebar"), "2");
  EXPECT_THAT(checked(), IsEmpty());
}

TEST_F(RepairOfAFile, MakesEqualEndTreatmentsOne) {
  const std::string copy =
      ", type, type_description, manufacturer, model, diameter, comment from end_treatment "
      "where id = 2;";
  run_plainly("insert into end_treatment select 7" + copy + "insert into end_treatment select 9" +
              copy + "update rebar set end_treatment_end = 9");
  EXPECT_THAT(repair(), ElementsAre("done: end_treatment 7 is now one with 2",
                                    "done: end_treatment 9 is now one with 2"));
  EXPECT_EQ(value("select end_treatment_end from rebar"), "2");
  EXPECT_THAT(checked(), IsEmpty());
}

TEST_F(RepairOfAFile, BuildsAnIndexAnewThatLacksARow) {
  // The table is written as one without its index.
  run_plainly(
      "pragma writable_schema = on;"
      "create table kept as select * from sqlite_schema where name = "
      "'sqlite_autoindex_sheet_1';"
      "update sqlite_schema set sql = replace(sql, ' UNIQUE', '') where name = 'sheet';"
      "delete from sqlite_schema where name = 'sqlite_autoindex_sheet_1';");
  run_plainly("insert into sheet (uid, raw) select 'left out', raw from sheet");
  run_plainly(
      "pragma writable_schema = on;"
      "insert into sqlite_schema select * from kept;"
      "update sqlite_schema set sql = replace(sql, 'uid TEXT', 'uid TEXT UNIQUE') "
      "where name = 'sheet';");
  run_plainly("drop table kept");
  EXPECT_THAT(checked(), Contains(HasSubstr("finding index: SQLite: row")));
  EXPECT_THAT(repair(), ElementsAre("done: all indexes were built anew"));
  EXPECT_THAT(checked(), IsEmpty());
}

TEST_F(RepairOfAFile, RemovesOrphansOnlyIfItIsAsked) {
  run_plainly("pragma foreign_keys = on; delete from revision");
  EXPECT_THAT(repair(), IsEmpty());
  RepairOptions options;
  options.are_orphans_removed = true;
  EXPECT_THAT(repair(options), ElementsAre("done: barspacer: removed rows of revision 1: 1"));
  EXPECT_EQ(count("barspacer"), 0);
}

TEST_F(RepairOfAFile, DoesNothingWithDamagedPages) {
  run_plainly("update rebar set total_bars = 3");
  const std::int64_t page =
      std::stoll(*value("select rootpage from sqlite_schema where name = 'mountingpart'"));
  std::string bytes = test::text_of(file());
  bytes.replace(static_cast<std::size_t>((page - 1) * 4096), 60, 60, '\x55');
  std::ofstream(file()) << bytes;
  EXPECT_THAT(repair(), IsEmpty());
  EXPECT_EQ(test::text_of(file()), bytes);
}

TEST_F(RepairOfAFile, RunsNoTriggerOfTheFile) {
  run_plainly(
      "update rebar set total_bars = 3;"
      "create trigger t after update on rebar begin delete from fabric; end");
  repair();
  EXPECT_EQ(count("fabric"), 1);
}

/// `sql` declares a table anew; its rows are kept.
class RepairOfAStrangeTable : public RepairOfAFile {
 protected:
  void declare(const std::string& table, const std::string& from, const std::string& to) const {
    run_plainly("pragma writable_schema = on; update sqlite_schema set sql = replace(sql, '" +
                from + "', '" + to + "') where name = '" + table + "'");
  }
};

TEST_F(RepairOfAStrangeTable, WritesNoRowWhereAnIdCanBeThatOfSeveral) {
  run_plainly(
      "create table other (id INTEGER, uid TEXT, raw BLOB);"
      "alter table fabric rename to old;"
      "create table fabric as select * from old; drop table old;"
      "insert into fabric select * from fabric;"
      "update fabric set mark = rowid");
  const test::Rows before = all();
  EXPECT_THAT(repair(), Contains(HasSubstr("left: table fabric: no row is repaired")));
  EXPECT_EQ(all(), before);
}

TEST_F(RepairOfAStrangeTable, WritesNoRowThatHasComputedColumns) {
  run_plainly("update barspacer set name = 'x'");
  declare("barspacer", "quantity INTEGER", "quantity INTEGER AS (length(name))");
  const test::Rows before = all();
  EXPECT_THAT(repair(), Contains(HasSubstr("left: table barspacer: no row is repaired")));
  EXPECT_EQ(all(), before);
}

TEST_F(RepairOfAStrangeTable, LosesNoRowOfAnotherProgramWithOneOfOurs) {
  run_plainly(
      "insert into end_treatment select 9, type, type_description, manufacturer, "
      "model, diameter, comment from end_treatment where id = 1;"
      "create table theirs (t INTEGER REFERENCES end_treatment (id) ON DELETE CASCADE);"
      "insert into theirs values (9)");
  EXPECT_THAT(repair(),
              ElementsAre("left: end_treatment: no row is removed, as the table theirs refers to "
                          "them, which is not a project's"));
  EXPECT_EQ(rows("select count(*) from theirs"), (test::Rows{{"1"}}));
}

TEST_F(RepairOfAStrangeTable, WritesNoRowWithoutAnId) {
  // With DESC the key is not the number of the row, and may be NULL.
  run_plainly(
      "create table kept as select * from barspacer; drop table barspacer;"
      "create table barspacer (id INTEGER PRIMARY KEY DESC, mark INTEGER, rev_id INTEGER, sheet_id "
      "INTEGER, name TEXT, quantity INTEGER, weight_per_piece REAL, description TEXT, length REAL, "
      "raw BLOB); insert into barspacer (id, rev_id, name, raw) select 0, rev_id, 'x', raw from "
      "kept; insert into barspacer (id, rev_id, name, raw) select null, rev_id, 'y', raw from kept;"
      "update barspacer set raw = zeroblob(0) where id = 0; drop table kept");
  const test::Rows before = rows("select name from barspacer order by name");
  EXPECT_THAT(checked(), Contains("finding row_id: barspacer 0: the id is not a whole number"));
  repair();
  EXPECT_EQ(rows("select name from barspacer order by name"), before);
}

TEST_F(RepairOfAFile, MakesBytesOfARecordThatIsAText) {
  const test::Rows before = all();
  run_plainly("update sheet set raw = cast(raw as text)");
  EXPECT_THAT(repair(), ElementsAre(HasSubstr("done: sheet 1: raw is now x'")));
  EXPECT_EQ(all(), before);
  EXPECT_THAT(checked(), IsEmpty());
}

TEST_F(RepairOfAFile, TellsAVirtualTableInThePlaceOfOurs) {
  run_plainly("drop table barspacer; create virtual table barspacer using fts5 (id, raw)");
  EXPECT_THAT(checked(), Contains("damage missing_table: the table barspacer is missing"));
  EXPECT_THAT(repair(), IsEmpty());
}

}  // namespace
}  // namespace korvane::sqlite
