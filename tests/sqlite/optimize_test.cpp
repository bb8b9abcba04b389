#include "sqlite/optimize.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqlite/backup.h"
#include "sqlite/compact.h"
#include "sqlite/indexes.h"
#include "sqlite/repair.h"
#include "tests/sqlite/damaged_project.h"
#include "tests/support/text_of.h"

namespace korvane::sqlite {
namespace {

namespace fs = std::filesystem;
using namespace model::cad;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Property;
using testing::StartsWith;
using testing::Throws;
using Lines = std::vector<std::string>;

const Lines kAll = {"korvane_index_revision_sheet_id",
                    "korvane_index_barspacer_rev_id",
                    "korvane_index_end_treatment_type_type_description_manufacturer_model_diameter_"
                    "comment",
                    "korvane_index_rebar_rev_id",
                    "korvane_index_rebar_material_id",
                    "korvane_index_rebar_end_treatment_start",
                    "korvane_index_rebar_end_treatment_end",
                    "korvane_index_fabric_type_material_id",
                    "korvane_index_fabric_rev_id",
                    "korvane_index_fabric_fabric_type_id",
                    "korvane_index_mountingpart_material_id",
                    "korvane_index_mountingpart_rev_id"};

template <class Failure>
auto fails_with(const std::string& text) {
  return Throws<Failure>(Property(&Failure::what, HasSubstr(text)));
}

class Optimize : public SoundProject {
 protected:
  Lines indexes(const std::string& file) const {
    Lines names;
    for (const test::Row& row :
         test::plain_rows(file,
                          "select name from sqlite_schema where type = 'index' and sql is not null "
                          "order by rowid")) {
      names.push_back(*row[0]);
    }
    return names;
  }
  Lines indexes() const { return indexes(file()); }

  static OptimizeResult drop(const std::string& file) {
    OptimizeOptions options;
    options.is_dropping = true;
    return optimize_file(file, options);
  }

  static OptimizeOptions at_once() {
    OptimizeOptions options;
    options.wait = std::chrono::milliseconds(1);
    return options;
  }

  std::vector<test::Rows> content() const {
    std::vector<test::Rows> tables = {
        rows("select name, sql from sqlite_schema where type = 'table'")};
    for (const std::string& table : test::kTables) tables.push_back(all_of(table));
    return tables;
  }

  /// What SQLite does for a statement, a line a step.
  Lines plan(const std::string& sql) const {
    Lines steps;
    for (const test::Row& row : rows("explain query plan " + sql)) steps.push_back(*row[3]);
    return steps;
  }

  /// Each of the store's statements that looks for rows, as the store has run it.
  std::set<std::string> searches() {
    test::ConnectionWatch watch;
    reopen_under(watch);
    bars_of(1);
    fabrics_of(1);
    spacers_of(1);
    parts_of(1);
    Revisions revisions;
    SheetRef sheet;
    sheet.id = 1;
    project().get_all_revisions_for_sheetid(sheet, revisions);
    auto bar = test::full_rebar(1, 1);
    bar.end_treatment_start.set().comment = "another";
    add({bar});
    clear(1);
    GenericReply reply;
    FabricTypeRef type;
    type.id = 1;
    project().delete_fabric_type(type, reply);
    project().delete_sheet(sheet, reply);
    close();
    std::set<std::string> searches;
    for (const std::string& statement : watch.statements()) {
      if (statement.find(" where ") != std::string::npos) searches.insert(statement);
    }
    return searches;
  }

  /// How many rows SQLite goes through to delete a row, beside those that it finds by an index.
  int rows_seen_by_deleting(const std::string& table) const {
    Database database(file(), Database::Access::write);
    database.run("pragma foreign_keys = on; begin");
    Statement statement(database, "delete from " + table + " where id = 99");
    database.run("insert into " + table + " (id) values (99)");
    statement.next();
    return sqlite3_stmt_status(statement.handle(), SQLITE_STMTSTATUS_FULLSCAN_STEP, 0);
  }

  std::string set_byte(std::size_t offset, char value) const {
    std::string bytes = test::text_of(file());
    bytes[offset] = value;
    std::ofstream(file()) << bytes;
    return bytes;
  }
};

TEST_F(Optimize, AddsAnIndexForEachReferenceAndOneForTreatments) {
  EXPECT_THAT(indexes(), IsEmpty());
  const OptimizeResult result = optimize_file(file());
  EXPECT_EQ(indexes(), kAll);
  EXPECT_EQ(result.indexes_before, 0U);
  EXPECT_EQ(result.indexes_after, kAll.size());
  EXPECT_LT(result.bytes_before, result.bytes_after);
  EXPECT_EQ(result.bytes_after, static_cast<std::int64_t>(fs::file_size(file())));
}

TEST_F(Optimize, LeavesTablesAndRowsToTheLetter) {
  const auto before = content();
  optimize_file(file());
  EXPECT_EQ(content(), before);
  drop(file());
  EXPECT_EQ(content(), before);
}

TEST_F(Optimize, SparesTheStoreEverySearchThroughAWholeTable) {
  optimize_file(file());
  const std::set<std::string> statements = searches();
  EXPECT_THAT(statements,
              IsSupersetOf({"select raw from rebar where rev_id = ?",
                            "delete from end_treatment where id in (select end_treatment_end from "
                            "rebar where rev_id = ? )"}));
  EXPECT_THAT(statements, Contains(StartsWith("SELECT id FROM end_treatment where type = ?")));
  for (const std::string& statement : statements) {
    EXPECT_THAT(plan(statement), testing::Not(Contains(StartsWith("SCAN")))) << statement;
  }
}

TEST_F(Optimize, IsWhatSparesIt) {
  int scans = 0;
  for (const std::string& statement : searches()) {
    for (const std::string& step : plan(statement)) scans += step.starts_with("SCAN") ? 1 : 0;
  }
  EXPECT_GE(scans, 10);
}

TEST_F(Optimize, FindsTreatmentsByAllSixColumnsAlsoWithNull) {
  optimize_file(file());
  const std::string where =
      "select id from end_treatment where type # ? and type_description # ? and manufacturer # ? "
      "and model # ? and diameter # ? and comment # ?";
  for (const std::string comparison : {"=", "is"}) {
    std::string sql = where;
    for (std::size_t at = 0; (at = sql.find('#', at)) != std::string::npos;) {
      sql.replace(at, 1, comparison);
    }
    EXPECT_THAT(plan(sql), ElementsAre(HasSubstr("(type=? AND type_description=? AND "
                                                 "manufacturer=? AND model=? AND diameter=? AND "
                                                 "comment=?)")))
        << comparison;
  }
}

TEST_F(Optimize, SparesDeletingACatalogueEntryTheLookAtAllLines) {
  reopen();
  make_revision(1);
  for (int i = 0; i < 3; ++i) {
    add({test::full_rebar(1, 1)});
    add({test::full_fabric(1, 1)});
    add({test::full_mounting_part(1, 1)});
  }
  close();
  for (const std::string table : {"material", "end_treatment", "sheet", "revision"}) {
    drop(file());
    EXPECT_GT(rows_seen_by_deleting(table), 0) << table;
    optimize_file(file());
    EXPECT_EQ(rows_seen_by_deleting(table), 0) << table;
  }
}

TEST_F(Optimize, ChangesNoAnswerOfTheStore) {
  reopen();
  const std::int32_t other = make_revision();
  auto treated = test::full_rebar(other, 1);
  treated.end_treatment_start.set().comment = "another";
  for (int i = 0; i < 5; ++i) add({test::full_rebar(1, 1), treated});
  const auto bars = bars_of(1);
  const auto others = bars_of(other);
  const auto treatments = all_of("end_treatment");
  close();
  optimize_file(file());
  reopen();
  EXPECT_EQ(bars_of(1), bars);
  EXPECT_EQ(bars_of(other), others);
  add({treated});
  EXPECT_EQ(all_of("end_treatment"), treatments);
  GenericReply reply;
  MaterialRef material;
  material.id = 1;
  EXPECT_THAT([&] { project().delete_material(material, reply); },
              test::violates("NOT NULL constraint failed: mountingpart.material_id"));
  clear(other);
  EXPECT_EQ(bars_of(1), bars);
  EXPECT_THAT(bars_of(other), IsEmpty());
}

TEST_F(Optimize, LeavesAFileAsItIsThatHasAll) {
  optimize_file(file());
  const std::string bytes = test::text_of(file());
  const OptimizeResult again = optimize_file(file());
  EXPECT_EQ(again.indexes_before, kAll.size());
  EXPECT_EQ(again.indexes_after, kAll.size());
  EXPECT_EQ(test::text_of(file()), bytes);
}

TEST_F(Optimize, AddsWhatIsMissingAndReplacesWhatDiffers) {
  optimize_file(file());
  run_plainly(
      "drop index korvane_index_rebar_rev_id; drop index korvane_index_fabric_rev_id;"
      "create index korvane_index_rebar_rev_id on rebar (mark)");
  optimize_file(file());
  EXPECT_THAT(indexes(), testing::UnorderedElementsAreArray(kAll));
  EXPECT_THAT(plan("select raw from rebar where rev_id = ?"),
              ElementsAre(HasSubstr("korvane_index_rebar_rev_id (rev_id=?)")));
}

TEST_F(Optimize, DropsWhatHasOurNamesAndNothingElse) {
  run_plainly("create index by_mark on rebar (mark)");
  optimize_file(file());
  run_plainly("create index \"korvane_index_of \"\"another\"\" version\" on rebar (mark)");
  const OptimizeResult result = drop(file());
  EXPECT_EQ(result.indexes_before, kAll.size() + 1);
  EXPECT_EQ(result.indexes_after, 0U);
  EXPECT_THAT(indexes(), ElementsAre("by_mark"));
}

TEST_F(Optimize, IsToldByACheckWithAllThatIsThere) {
  optimize_file(file());
  std::string all;
  for (const std::string& name : kAll) all += (all.empty() ? "" : ", ") + name;
  EXPECT_THAT(checked(),
              ElementsAre("note optimized: `korvane optimize` has added 12 indexes: " + all));
  drop(file());
  EXPECT_THAT(checked(), IsEmpty());
}

TEST_F(Optimize, IsToldByACheckWithWhatIsMissing) {
  optimize_file(file());
  run_plainly(
      "drop index korvane_index_rebar_rev_id; drop index korvane_index_fabric_rev_id;"
      "create index korvane_index_rebar_rev_id on rebar (mark)");
  const Lines lines = checked();
  EXPECT_TRUE(check_file(file()).is_sound());
  EXPECT_THAT(
      lines,
      ElementsAre("note not_ours: the index korvane_index_rebar_rev_id is not one that this "
                  "version's `korvane optimize` makes",
                  StartsWith("note optimized: `korvane optimize` has added 10 indexes: "),
                  "note index_missing: the index korvane_index_rebar_rev_id is missing beside the "
                  "others; `korvane optimize` adds it",
                  "note index_missing: the index korvane_index_fabric_rev_id is missing beside "
                  "the others; `korvane optimize` adds it"));
}

TEST_F(Optimize, EndsWithTheTablesThatClearMakesAnew) {
  optimize_file(file());
  reopen();
  GenericReply reply;
  ClearProjectRequest request;
  request.reset_schema = false;
  project().clear(request, reply);
  EXPECT_EQ(indexes(), kAll);
  request.reset_schema = true;
  project().clear(request, reply);
  EXPECT_THAT(indexes(), IsEmpty());
  EXPECT_THAT(checked(), IsEmpty());
}

TEST_F(Optimize, IsKeptByCopiesCompactingAndRepair) {
  optimize_file(file());
  back_up(file(), file() + ".copy");
  EXPECT_EQ(indexes(file() + ".copy"), kAll);
  drop(file());
  CopyOptions replacing;
  replacing.is_replacing = true;
  restore(file() + ".copy", file(), replacing);
  EXPECT_EQ(indexes(), kAll);
  compact_file(file());
  EXPECT_EQ(indexes(), kAll);
  run_plainly("update rebar set total_bars = 3");
  EXPECT_EQ(repair_file(file()).size(), 1U);
  EXPECT_EQ(indexes(), kAll);
  EXPECT_THAT(checked(), ElementsAre(StartsWith("note optimized")));
}

TEST_F(Optimize, IsMendedLikeAnyOtherIndex) {
  optimize_file(file());
  {
    Database database(file(), Database::Access::write);
    database.run(
        "pragma writable_schema = on; update sqlite_schema set sql = replace(sql, '(rev_id)', "
        "'(total_bars)') where name = 'korvane_index_rebar_rev_id'");
  }
  EXPECT_THAT(checked(), Contains(StartsWith("finding index: SQLite: row 1 missing from index")));
  repair_file(file());
  EXPECT_TRUE(check_file(file()).is_sound());
}

TEST_F(Optimize, RefusesWhatIsNotAProjectAndWhatIsDamaged) {
  const auto optimize = [&] { optimize_file(file()); };
  EXPECT_THAT([&] { optimize_file(file() + "x"); },
              fails_with<std::runtime_error>("no project " + file() + "x"));
  const std::string folder = fs::path(file()).parent_path().string();
  EXPECT_THAT([&] { optimize_file(folder); },
              fails_with<std::runtime_error>("\"" + folder + "\" is not a file"));
  const std::string sound = test::text_of(file());
  const std::int64_t page =
      std::stoll(*value("select rootpage from sqlite_schema where name = 'rebar'"));
  std::string bytes = sound;
  bytes.replace(static_cast<std::size_t>((page - 1) * 4096), 60, 60, '\x55');
  std::ofstream(file()) << bytes;
  EXPECT_THAT(optimize, fails_with<std::runtime_error>("\"" + file() + "\" has damage: SQLite: "));
  EXPECT_EQ(test::text_of(file()), bytes);
  std::ofstream(file()) << sound;
  run_plainly("drop table mountingpart");
  EXPECT_THAT(optimize, fails_with<std::runtime_error>(
                            "\"" + file() +
                            "\" is not a korvane project: the table mountingpart is missing"));
  EXPECT_THAT(indexes(), IsEmpty());
  std::ofstream(file()) << std::string(5000, 'x');
  EXPECT_THAT(optimize, fails_with<DatabaseError>("file is not a database"));
}

TEST_F(Optimize, RefusesAFileOfANewerSqlite) {
  constexpr std::size_t kWriteVersion = 18;
  constexpr std::size_t kSchemaFormat = 47;
  const std::string sound = test::text_of(file());
  std::string bytes = set_byte(kWriteVersion, 3);
  EXPECT_THAT([&] { optimize_file(file()); },
              fails_with<DatabaseError>("attempt to write a readonly database"));
  EXPECT_EQ(test::text_of(file()), bytes);
  std::ofstream(file()) << sound;
  bytes = set_byte(kSchemaFormat, 9);
  EXPECT_THAT([&] { optimize_file(file()); }, fails_with<DatabaseError>("unsupported file format"));
  EXPECT_EQ(test::text_of(file()), bytes);
}

/// Takes root's rights away, which writes what it wants, for as long as it lives.
class WithoutRoot {
 public:
  WithoutRoot() {
    if (is_root_) {
      EXPECT_EQ(::seteuid(kNobody), 0);
    }
  }
  WithoutRoot(const WithoutRoot&) = delete;
  WithoutRoot& operator=(const WithoutRoot&) = delete;
  ~WithoutRoot() {
    if (is_root_) {
      EXPECT_EQ(::seteuid(0), 0);
    }
  }

 private:
  static constexpr uid_t kNobody = 65534;
  const bool is_root_ = ::geteuid() == 0;
};

TEST_F(Optimize, RefusesAReadOnlyFileUnlessThereIsNothingToDo) {
  fs::permissions(file(), fs::perms(0444));
  fs::permissions(fs::path(file()).parent_path(), fs::perms(0755));
  const WithoutRoot user;
  EXPECT_THAT([&] { optimize_file(file()); },
              fails_with<DatabaseError>("attempt to write a readonly database"));
  EXPECT_EQ(drop(file()).indexes_after, 0U);
}

TEST_F(Optimize, GivesUpWhileOthersHoldALock) {
  const std::string bytes = test::text_of(file());
  const auto optimize = [&] { optimize_file(file(), at_once()); };
  {
    test::PlainConnection reader(file(), test::PlainConnection::Mode::kRead);
    reader.run("begin; select count(*) from rebar");
    EXPECT_THAT(optimize, fails_with<DatabaseError>("\"" + file() + "\": database is locked"));
  }
  {
    test::PlainConnection writer(file(), test::PlainConnection::Mode::kWrite);
    writer.run("begin immediate");
    EXPECT_THAT(optimize, fails_with<DatabaseError>("\"" + file() + "\": database is locked"));
  }
  EXPECT_EQ(test::text_of(file()), bytes);
  optimize();
  EXPECT_EQ(indexes(), kAll);
}

TEST_F(Optimize, TakesAllBackWhenItIsStopped) {
  run_plainly(
      "with recursive n(i) as (select 1 union all select i + 1 from n where i < 50000) "
      "insert into end_treatment (comment) select i from n");
  const std::string bytes = test::text_of(file());
  int asked = 0;
  OptimizeOptions options;
  options.are_pages_checked = false;
  options.is_stopped = [&] { return ++asked == 3; };
  EXPECT_THAT([&] { optimize_file(file(), options); }, fails_with<DatabaseError>("interrupted"));
  EXPECT_EQ(test::text_of(file()), bytes);
}

TEST_F(Optimize, IsNotToldOfDamageWhenItIsStoppedWhilePagesAreChecked) {
  run_plainly(
      "with recursive n(i) as (select 1 union all select i + 1 from n where i < 50000) "
      "insert into end_treatment (comment) select i from n");
  OptimizeOptions options;
  options.is_stopped = [] { return true; };
  EXPECT_THAT([&] { optimize_file(file(), options); }, fails_with<DatabaseError>("interrupted"));
}

TEST_F(Optimize, LetsOthersReadUntilItIsCommitted) {
  run_plainly(
      "with recursive n(i) as (select 1 union all select i + 1 from n where i < 100000) "
      "insert into end_treatment (comment) select hex(randomblob(50)) from n");
  int reads = 0;
  OptimizeOptions options;
  options.are_pages_checked = false;
  options.is_stopped = [&] {
    ++reads;
    EXPECT_EQ(value("select count(*) from rebar"), "1");
    return false;
  };
  optimize_file(file(), options);
  EXPECT_GT(reads, 5);
  EXPECT_EQ(indexes(), kAll);
}

}  // namespace
}  // namespace korvane::sqlite
