// What a check finds, a kind of damage a row, and that it finds nothing in sound files.

#include "sqlite/check.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/sqlite/damaged_project.h"
#include "tests/support/text_of.h"

namespace korvane::sqlite {
namespace {

namespace fs = std::filesystem;
using namespace model::cad;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using Lines = std::vector<std::string>;

struct Damage {
  const char* name;
  const char* sql;
  Lines found;
};

void PrintTo(const Damage& damage, std::ostream* out) { *out << damage.name; }

class DamageAndFinding : public SoundProject, public testing::WithParamInterface<Damage> {};

TEST_P(DamageAndFinding, AreTold) {
  ASSERT_THAT(checked(), IsEmpty());
  run_plainly(GetParam().sql);
  EXPECT_THAT(checked(), ElementsAreArray(GetParam().found));
}

INSTANTIATE_TEST_SUITE_P(
    OfColumns, DamageAndFinding,
    testing::Values(
        Damage{"WholeNumber",
               "update rebar set total_bars = 3",
               {"finding column: rebar 1: total_bars is 3, raw says 24"}},
        Damage{"RealNumber",
               "update rebar set bar_diameter = 0.5",
               {"finding column: rebar 1: bar_diameter is 0.5, raw says 0.014"}},
        Damage{"Text",
               "update rebar set comment = 'it''s'",
               {"finding column: rebar 1: comment is 'it''s', raw says 'top layer'"}},
        Damage{"TextForNull",
               "update rebar set submark = null",
               {"finding column: rebar 1: submark is NULL, raw says 'b'"}},
        Damage{"Letter",
               "update fabric set R_rounded = 5",
               {"finding column: fabric 1: R_rounded is 5.0, raw says 107.5"}},
        Damage{"WholeNumberInARealColumn",
               "update fabric set fabrics_per_member = 8.5",
               {"finding column: fabric 1: fabrics_per_member is 8.5, raw says 8.0"}},
        Damage{"TextInANumber",
               "update barspacer set quantity = 'many'",
               {"finding column: barspacer 1: quantity is 'many', raw says 40"}},
        Damage{"BytesInAText",
               "update mountingpart set mark = x'414200'",
               {"finding column: mountingpart 1: mark is x'414200', raw says 'A 3'"}},
        Damage{"TruthValue",
               "update fabric_type set is_list_fabric = 1",
               {"finding column: fabric_type 1: is_list_fabric is 1, raw says 0"}},
        Damage{"TextOfAType",
               "update fabric_type set type = 'R1'",
               {"finding column: fabric_type 1: type is 'R1', raw says 'Q188A'"}},
        Damage{
            "Uid", "update sheet set uid = null", {"finding uid: sheet 1: the uid is not a text"}},
        Damage{"UidThatTheRecordDoesNotHave", "update sheet set uid = 'another'", {}},
        Damage{"IdTooLarge",
               "update mountingpart set id = 4294967296",
               {"finding row_id: mountingpart 4294967296: the id is not one of 32 bits"}}),
    [](const auto& damage) { return damage.param.name; });

INSTANTIATE_TEST_SUITE_P(
    OfRecords, DamageAndFinding,
    testing::Values(
        Damage{"Missing",
               "update rebar set raw = null",
               {"damage raw_missing: rebar 1: the record is missing"}},
        Damage{"Empty",
               "update sheet set raw = x''",
               {"damage raw_damaged: sheet 1: the record cannot be decoded: Read out of bounds: 1 "
                "bytes requested, offset: 0, length: 0"}},
        Damage{
            "Cut",
            "update project set raw = x'0d'",
            {"damage raw_damaged: project 1: the record cannot be decoded: Read out of bounds: 1 "
             "bytes requested, offset: 1, length: 1"}},
        Damage{"BytesAfterIt",
               "update material set raw = cast(raw || x'0102' as blob)",
               {"finding raw_left_over: material 1: 2 bytes follow the end of the record"}},
        Damage{"UnknownField",
               "update sheet set raw = x'D0370200'",
               {"note raw_unknown: sheet 1: the record has something that this version does not "
                "know"}}),
    [](const auto& damage) { return damage.param.name; });

INSTANTIATE_TEST_SUITE_P(
    OfRelations, DamageAndFinding,
    testing::Values(
        Damage{"Revision",
               "update mountingpart set rev_id = 9",
               {"finding foreign_key: mountingpart 1: rev_id refers to a row of revision that is "
                "not there",
                "finding column: mountingpart 1: rev_id is 9, raw says 1"}},
        Damage{"CatalogueEntry",
               "delete from fabric_type",
               {"finding foreign_key: fabric 1: fabric_type_id refers to a row of fabric_type that "
                "is not there"}},
        Damage{"BarSpacersOfARevisionThatIsGone",
               "pragma foreign_keys = on; delete from revision",
               {"note orphan_bar_spacers: barspacer: rows of revision 1, which is not there: 1",
                "note unused_treatments: end_treatment: rows that no bar has: 2"}},
        Damage{"SheetThatIsGone",
               "delete from sheet",
               {"finding foreign_key: revision 1: sheet_id refers to a row of sheet that is not "
                "there"}},
        Damage{"NoSheet",
               "update revision set sheet_id = null",
               {"note revision_without_sheet: revision 1: belongs to no sheet"}},
        Damage{"TreatmentThatIsGone",
               "delete from end_treatment where id = 2",
               {"finding foreign_key: rebar 1: end_treatment_end refers to a row of end_treatment "
                "that is not there",
                "finding treatment: rebar 1: end_treatment_end is 2, which is not a row"}},
        Damage{"TreatmentOfAnother",
               "update rebar set end_treatment_end = 1; delete from end_treatment where id = 2",
               {"finding treatment: rebar 1: end_treatment_end is 1, a row that differs from "
                "raw's"}},
        Damage{"TreatmentNotLinked",
               "update rebar set end_treatment_end = null; delete from end_treatment where id = 2",
               {"note treatment_unlinked: rebar 1: end_treatment_end is NULL, raw has a "
                "treatment"}},
        Damage{"TreatmentTwice",
               "insert into end_treatment select 7, type, type_description, manufacturer, model, "
               "diameter, comment from end_treatment where id = 2",
               {"finding equal_treatments: end_treatment: the rows 2, 7 are equal",
                "note unused_treatments: end_treatment: rows that no bar has: 1"}},
        Damage{"TwoProjectRecords",
               "insert into project select 2, raw from project",
               {"finding project_rows: project: there are 2 rows, of which one is read"}}),
    [](const auto& damage) { return damage.param.name; });

INSTANTIATE_TEST_SUITE_P(
    OfTables, DamageAndFinding,
    testing::Values(
        Damage{"Table",
               "drop table mountingpart",
               {"damage missing_table: the table mountingpart is missing"}},
        Damage{"Column",
               "alter table barspacer drop column mark",
               {"damage missing_column: table barspacer: the column mark is missing"}},
        Damage{"ColumnForTheRecord",
               "alter table barspacer drop column raw",
               {"damage missing_column: table barspacer: the column raw is missing"}},
        Damage{"AddedColumn",
               "alter table sheet add column colour text",
               {"note not_ours: table sheet: the column colour is not a project's"}},
        Damage{"AddedIndex",
               "create index by_mark on rebar (mark)",
               {"note not_ours: the index by_mark is not a project's"}},
        Damage{"AddedTableViewAndTrigger",
               "create table notes (a); create view bars as select mark from rebar; "
               "create trigger t after insert on sheet begin select 1; end",
               {"note not_ours: the table notes is not a project's",
                "note not_ours: the view bars is not a project's",
                "note not_ours: the trigger t is not a project's"}},
        Damage{"WithoutConstraints",
               "create table new_sheet (id integer primary key, uid varchar, raw blob); "
               "insert into new_sheet select * from sheet; drop table sheet; "
               "alter table new_sheet rename to sheet",
               {"finding declaration: table sheet: the column uid is declared \"varchar\", "
                "expected \"TEXT\"",
                "finding declaration: table sheet: lacks AUTOINCREMENT",
                "finding declaration: table sheet: lacks UNIQUE (uid)"}},
        Damage{"ApplicationIdOfAnother",
               "pragma application_id = 252006674",
               {"note not_ours: the application id 0x0F055112 is not a project's"}},
        Damage{"ApplicationIdOfAProject", "pragma application_id = 1263687246", {}}),
    [](const auto& damage) { return damage.param.name; });

using DamageOfRows = SoundProject;

TEST_F(DamageOfRows, TellsARecordOfAnotherContract) {
  run_plainly("update mountingpart set raw = (select raw from barspacer)");
  const Lines lines = checked();
  ASSERT_THAT(lines, SizeIs(19));
  EXPECT_EQ(lines[0],
            "note raw_unknown: mountingpart 1: the record has something that this version "
            "does not know");
  EXPECT_THAT(lines, Contains("finding column: mountingpart 1: rev_id is 1, raw says 0"));
}

/// Files that are wrong as a whole.
class CheckOfAFile : public SoundProject {
 protected:
  std::string bytes() const { return test::text_of(file()); }
  void write(const std::string& bytes) const { std::ofstream(file()) << bytes; }
};

TEST_F(CheckOfAFile, TellsWhatCannotBeOpened) {
  EXPECT_THAT(check_lines(file() + "x"),
              ElementsAre("damage unreadable: cannot be opened: No such file or directory"));
  EXPECT_FALSE(fs::exists(file() + "x"));
  EXPECT_THAT(check_lines(fs::path(file()).parent_path().string()),
              ElementsAre("damage unreadable: is not a file"));
}

TEST_F(CheckOfAFile, TellsWhatIsNotADatabaseOrNotAProject) {
  write("");
  EXPECT_THAT(checked(), ElementsAre("damage not_a_project: is empty"));
  write("SQLite format 3");
  EXPECT_THAT(checked(), ElementsAre("damage not_a_database: is not a database"));
  write(std::string(5000, 'x'));
  EXPECT_THAT(checked(), ElementsAre("damage not_a_database: is not a database"));
  fs::remove(file());
  Database(file(), Database::Access::make).run("create table bars (mark)");
  EXPECT_THAT(checked(),
              ElementsAre("damage not_a_project: a database without a project's tables"));
}

TEST_F(CheckOfAFile, TellsADamagedPage) {
  const std::int64_t page =
      std::stoll(*value("select rootpage from sqlite_schema where name = 'rebar'"));
  std::string damaged = bytes();
  damaged.replace(static_cast<std::size_t>((page - 1) * 4096), 60, 60, '\x55');
  write(damaged);
  EXPECT_THAT(checked(), Contains(StartsWith("damage pages: SQLite: ")));
  EXPECT_THAT(checked(), Contains("damage pages: table rebar cannot be read to its end: database "
                                  "disk image is malformed"));
}

TEST_F(CheckOfAFile, TellsOneThatIsCut) {
  write(bytes().substr(0, std::size_t{4096} * 3));
  EXPECT_THAT(checked(), ElementsAre("damage pages: SQLite: database disk image is malformed"));
  write(bytes().substr(0, 200));
  EXPECT_THAT(checked(), Contains(StartsWith("damage ")));
}

TEST_F(CheckOfAFile, EveryByteThatIsFlippedOrCutLeavesAnAnswer) {
  const std::string sound = bytes();
  for (std::size_t i = 0; i < sound.size(); i += 997) {
    std::string damaged = sound;
    damaged[i] = static_cast<char>(~damaged[i]);
    write(damaged);
    check_file(file());
    write(sound.substr(0, i));
    EXPECT_FALSE(check_file(file()).is_sound()) << i;
  }
}

TEST_F(CheckOfAFile, TellsAnIndexThatDoesNotFitItsTable) {
  run_plainly(
      "pragma writable_schema = on;"
      "update sqlite_schema set rootpage = (select rootpage from sqlite_schema where name = "
      "'sqlite_autoindex_sheet_1') where name = 'sqlite_autoindex_material_1'");
  EXPECT_THAT(checked(), Contains(HasSubstr("missing from index sqlite_autoindex_material_1")));
}

TEST_F(CheckOfAFile, TellsTheJournalOfAWriteThatWasBrokenOff) {
  {
    test::PlainConnection writer(file(), test::PlainConnection::Mode::kWrite);
    writer.run(
        "pragma cache_size = 1; pragma cache_spill = 1; begin; update rebar set mark = 'x'; "
        "insert into sheet (raw) select randomblob(100000)");
    fs::copy(file(), file() + "2");
    fs::copy(file() + "-journal", file() + "2-journal");
  }
  const std::string before = test::text_of(file() + "2");
  EXPECT_THAT(check_lines(file() + "2"),
              ElementsAre("finding journal: the journal of a write that was broken off lies beside "
                          "it; the file was not read further"));
  EXPECT_EQ(test::text_of(file() + "2"), before);
}

TEST_F(CheckOfAFile, ReadsOneInWriteAheadModeAndMakesNoFile) {
  run_plainly("pragma journal_mode = wal");
  EXPECT_THAT(checked(), IsEmpty());
  EXPECT_FALSE(fs::exists(file() + "-wal"));
  EXPECT_FALSE(fs::exists(file() + "-shm"));
  test::PlainConnection other(file(), test::PlainConnection::Mode::kWrite);
  other.run("update rebar set total_bars = 3");
  EXPECT_THAT(checked(),
              ElementsAre("note write_ahead_log: changes wait in a write-ahead log beside it",
                          "finding column: rebar 1: total_bars is 3, raw says 24"));
  fs::copy(file(), file() + "2");
  fs::copy(file() + "-wal", file() + "2-wal");
  EXPECT_THAT(check_lines(file() + "2"),
              ElementsAre("finding journal: a write-ahead log lies beside it that nobody has taken "
                          "in; the file was not read further"));
  EXPECT_FALSE(fs::exists(file() + "2-shm"));
}

TEST_F(CheckOfAFile, SaysWhenAnotherProgramKeepsItLocked) {
  test::PlainConnection other(file(), test::PlainConnection::Mode::kWrite);
  other.run("begin exclusive");
  CheckOptions options;
  options.wait = std::chrono::milliseconds(1);
  EXPECT_THAT(lines_of(check_file(file(), options)),
              ElementsAre("damage unreadable: another program kept it locked for as long as was "
                          "waited"));
}

TEST_F(CheckOfAFile, ReadsAReadOnlyFileInAReadOnlyFolder) {
  fs::permissions(file(), fs::perms::owner_read);
  const std::string before = bytes();
  EXPECT_THAT(checked(), IsEmpty());
  EXPECT_EQ(bytes(), before);
  EXPECT_EQ(std::distance(fs::directory_iterator(fs::path(file()).parent_path()),
                          fs::directory_iterator()),
            1);
}

TEST_F(CheckOfAFile, MakesNoValueThatIsLongerThanTheFileCanHold) {
  declare_long_values();
  EXPECT_THAT(checked(), Contains("finding declaration: the table rebar cannot be checked: string "
                                  "or blob too big"));
}

TEST_F(CheckOfAFile, EndsWithWhatItsCallerThrows) {
  add_long_table();
  CheckOptions options;
  EXPECT_TRUE(check_file(file(), options).is_sound());
  options.proceed = [] { throw std::out_of_range("enough"); };
  EXPECT_THROW(check_file(file(), options), std::out_of_range);
}

TEST_F(CheckOfAFile, MayTakeAMinuteAndLongerAsItIsLonger) {
  const auto ago = [](int seconds) {
    return std::chrono::steady_clock::now() - std::chrono::seconds(seconds);
  };
  EXPECT_NO_THROW(within_usual_time(file(), ago(50))());
  EXPECT_THAT([&] { within_usual_time(file(), ago(70))(); },
              testing::ThrowsMessage<std::runtime_error>(
                  "\"" + file() + "\" takes longer to check than files of its size do"));
  run_plainly("update project set raw = zeroblob(10485760)");
  EXPECT_NO_THROW(within_usual_time(file(), ago(90))());
  EXPECT_ANY_THROW(within_usual_time(file(), ago(110))());
}

TEST_F(CheckOfAFile, SeesItAtOneMomentWhileAnotherWrites) {
  const test::PlainConnection reader(file(), test::PlainConnection::Mode::kRead);
  const CheckReport report = check_file(file());
  EXPECT_TRUE(report.is_sound());
  EXPECT_EQ(report.seen.count, 11U);  // two end treatments
  EXPECT_EQ(report.pages * report.page_bytes, static_cast<std::int64_t>(fs::file_size(file())));
}

TEST_F(CheckOfAFile, ListsAHundredOfAKindAndCountsTheRest) {
  run_plainly(
      "with recursive n(i) as (select 2 union all select i + 1 from n where i < 150) "
      "insert into sheet (id, raw) select i, (select raw from sheet where id = 1) from n");
  const Lines lines = checked();
  ASSERT_THAT(lines, SizeIs(101));
  EXPECT_EQ(lines.back(), "finding uid: and 49 more like these");
  EXPECT_EQ(check_file(file()).findings.count(Severity::finding), 149U);
}

/// Files that are sound, though what they hold is unusual.
class CheckOfSoundFiles : public test::StoreTest {};

TEST_F(CheckOfSoundFiles, FindsNothingInAnEmptyProject) {
  EXPECT_THAT(check_lines(file()), IsEmpty());
}

TEST_F(CheckOfSoundFiles, FindsNothingWhereValuesTakeAnotherFormInTheirColumn) {
  const std::int32_t material = make_material();
  int number = 0;
  for (const char* const text :
       {"12", " 1.50 ", "1e3", "0x10", "one way", "", "-0.0", "9007199254740993", "nan", "inf"}) {
    FabricType type = test::full_fabric_type(material);
    type.type_name = "type " + std::to_string(++number);
    type.uid = "";
    type.description = text;
    FabricTypeRef ref;
    project().create_fabric_type(type, ref);
  }
  const std::int32_t revision = make_revision();
  for (const double value :
       {std::nan(""), std::numeric_limits<double>::infinity(), -0.0, 5e-324, 1e300, 3.0}) {
    Rebar bar = test::full_rebar(revision, material);
    bar.sheet_id = -1;
    bar.total_length = value;
    bar.parameters_exact.a.set(value);
    bar.comment = std::string("a\0b", 3) + "\xFF";
    bar.member = "12";
    bar.end_treatment_start.set().diameter = value;
    bar.end_treatment_start.set().type = std::string("\0x", 2);
    add({bar, bar});
  }
  EXPECT_THAT(check_lines(file()), IsEmpty());
}

/// The reference vectors of one contract, referring to what is there.
template <class Kind>
std::vector<typename Kind::Record> golden_records(const std::string& contract,
                                                  const test::Parents& parents) {
  std::vector<typename Kind::Record> records;
  std::ifstream lines(KORVANE_TEST_DATA "/encoding/golden.jsonl");
  for (std::string line; std::getline(lines, line);) {
    const nlohmann::json vector = nlohmann::json::parse(line);
    if (vector.at("struct") != contract) continue;
    const std::string digits = vector.at("hex");
    std::string bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
      bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    records.push_back(
        test::referring<Kind>(encoding::decode<typename Kind::Record>(
                                  bytes.data(), static_cast<std::uint32_t>(bytes.size())),
                              parents));
  }
  return records;
}

TEST_F(CheckOfSoundFiles, FindsNothingInTheReferenceVectors) {
  const std::int32_t material = make_material();
  const test::Parents parents{make_revision(), material, make_fabric_type(material)};
  const auto bars = golden_records<test::RebarKind>("Rebar", parents);
  const auto fabrics = golden_records<test::FabricKind>("Fabric", parents);
  const auto spacers = golden_records<test::BarSpacerKind>("BarSpacer", parents);
  const auto parts = golden_records<test::MountingPartKind>("MountingPart", parents);
  EXPECT_GT(std::min({bars.size(), fabrics.size(), spacers.size(), parts.size()}), 10U);
  add(bars);
  add(fabrics);
  add(spacers);
  add(parts);
  const CheckReport report = check_file(file());
  EXPECT_TRUE(report.is_sound()) << testing::PrintToString(lines_of(report));
  EXPECT_GT(report.seen.count, bars.size());
}

TEST_F(CheckOfSoundFiles, FindsNothingAfterUpdates) {
  const std::int32_t material = make_material("first");
  FabricType type = test::full_fabric_type(material);
  type.id = make_fabric_type(material);
  type.uid = "";
  GenericReply reply;
  project().update_fabric_type(type, reply);
  Sheet sheet;
  sheet.id = make_sheet();
  sheet.uid = "another";
  project().update_sheet(sheet, reply);
  EXPECT_THAT(check_lines(file()), IsEmpty());
}

TEST_F(CheckOfSoundFiles, NotesWhatTheStoreItselfLeavesBehind) {
  const std::int32_t material = make_material();
  const std::int32_t first = make_revision();
  const std::int32_t second = make_revision();
  for (const std::int32_t revision : {first, second}) {
    Rebar bar = test::full_rebar(revision, material);
    bar.sheet_id = -1;
    add({bar});
  }
  clear(first);
  Revision moved;
  moved.id = second;
  moved.sheet_id = 1;
  GenericReply reply;
  project().update_revision(moved, reply);
  EXPECT_TRUE(check_file(file()).is_sound());
  EXPECT_THAT(check_lines(file()),
              ElementsAre("note other_sheet: revision 2: belongs to sheet 2, raw says 1",
                          "note treatment_unlinked: rebar 2: end_treatment_start is NULL, raw has "
                          "a treatment",
                          "note treatment_unlinked: rebar 2: end_treatment_end is NULL, raw has a "
                          "treatment"));
}

TEST_F(CheckOfSoundFiles, FindsNothingInTheFilesOfEarlierVersions) {
  for (const auto& entry : fs::directory_iterator(KORVANE_TEST_DATA "/project_files")) {
    if (entry.path().extension() != ".db") continue;
    const CheckReport report = check_file(entry.path().string());
    EXPECT_TRUE(report.is_sound()) << entry.path();
    EXPECT_GT(report.seen.count, 10U);
  }
}

}  // namespace
}  // namespace korvane::sqlite
