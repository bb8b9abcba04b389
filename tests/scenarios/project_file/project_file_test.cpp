// Project files of earlier builds, opened by this one.

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "model/plugins/korvane.model.cad.project/schema.h"
#include "sqlite/check.h"
#include "tests/scenarios/project_file/project_contents.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {
namespace {

using namespace model::cad;

const std::string kFolder = KORVANE_TEST_DATA "/project_files/";

/// Those of which a project file is kept: every release writes one (`make release`).
std::vector<std::string> kept_versions() {
  std::vector<std::string> versions;
  for (const auto& entry : std::filesystem::directory_iterator(kFolder)) {
    if (entry.path().extension() == ".db") versions.push_back(entry.path().stem().string());
  }
  std::sort(versions.begin(), versions.end());
  return versions;
}

class ProjectFile : public testing::TestWithParam<std::string> {
 protected:
  ProjectFile() {
    std::filesystem::copy_file(name() + ".db", file_);
    // The files that are checked in are read-only.
    std::filesystem::permissions(file_, std::filesystem::perms::owner_write,
                                 std::filesystem::perm_options::add);
  }

  static std::string name() { return kFolder + GetParam(); }

  /// The number that a query gives, by plain SQLite.
  std::int64_t number(const std::string& sql) const {
    sqlite3* connection = nullptr;
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_open_v2(file_.c_str(), &connection, SQLITE_OPEN_READONLY, nullptr),
              SQLITE_OK);
    EXPECT_EQ(sqlite3_prepare_v2(connection, sql.c_str(), -1, &statement, nullptr), SQLITE_OK);
    EXPECT_EQ(sqlite3_step(statement), SQLITE_ROW) << sql;
    const std::int64_t result = sqlite3_column_int64(statement, 0);
    sqlite3_finalize(statement);
    sqlite3_close(connection);
    return result;
  }

  const SchemaBuilder schema_ = project_schema();
  TemporaryFolder folder_;
  std::string file_ = folder_.file("project.db");
};

TEST_P(ProjectFile, EveryRecordReadsAsItWasWritten) {
  const std::vector<std::string> expected = lines_of(name() + ".txt");
  Project_Service_Impl project(0, file_);
  EXPECT_THAT(project_contents(project), testing::ElementsAreArray(expected));
  EXPECT_GE(expected.size(), 13U);
}

TEST_P(ProjectFile, EveryTableHasRows) {
  for (const TableSpec& table : schema_.tables()) {
    EXPECT_GT(number("select count(*) from " + table.name), 0) << table.name;
  }
}

TEST_P(ProjectFile, ItsTablesAreThoseOfANewProject) {
  for (const TableSpec& table : schema_.tables()) {
    EXPECT_EQ(
        number("select count(*) from sqlite_master where sql = '" + create_table_sql(table) + "'"),
        1)
        << table.name;
  }
}

TEST_P(ProjectFile, TakesNewBarsBesideTheOld) {
  Project_Service_Impl project(0, file_);
  RevisionRef ref;
  ref.id = 1;
  Batch<Rebar> bars;
  project.get_rebars(ref, bars);
  GenericReply reply;
  project.add_rebar(bars, reply);
  Batch<Rebar> twice;
  project.get_rebars(ref, twice);
  EXPECT_EQ(twice.items.size(), 2 * bars.items.size());
  // The new bars share the stored end treatments.
  EXPECT_EQ(number("select count(*) from end_treatment"), 2);
}

TEST_P(ProjectFile, IsSoundAsItCameAndAfterItWasWrittenTo) {
  EXPECT_TRUE(sqlite::check_file(file_).is_sound());
  {
    Project_Service_Impl project(0, file_);
    GenericReply reply;
    Batch<Sheet> sheets;
    project.list_sheets({}, sheets);
    Sheet sheet = sheets.items.at(0);
    sheet.comment = "read and written by a later version";
    project.update_sheet(sheet, reply);
    Revision revision;
    revision.sheet_id = sheet.id;
    RevisionRef made;
    project.create_revision(revision, made);
    RevisionRef first;
    first.id = 1;
    Batch<Rebar> bars;
    project.get_rebars(first, bars);
    for (Rebar& bar : bars.items) bar.rev_id = made.id.value();
    project.add_rebar(bars, reply);
    project.clear_for_revision(first, reply);
    SheetRef ref;
    ref.id = sheet.id;
    Sheet stored;
    project.get_sheet(ref, stored);
    EXPECT_EQ(stored.comment, sheet.comment);
  }
  EXPECT_TRUE(sqlite::check_file(file_).is_sound());
}

INSTANTIATE_TEST_SUITE_P(OfVersion, ProjectFile, testing::ValuesIn(kept_versions()),
                         [](const auto& version) {
                           std::string name = version.param;
                           std::replace(name.begin(), name.end(), '.', '_');
                           return name;
                         });

TEST(ProjectFiles, AreThereOfTheFirstVersionOn) {
  EXPECT_THAT(kept_versions(), testing::Contains("0.1.0"));
}

}  // namespace
}  // namespace korvane::test
