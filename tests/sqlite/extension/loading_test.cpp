// What the extension makes of the connections it meets.

#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/sqlite/extension/loaded_connection.h"
#include "tests/support/store_test.h"
#include "tests/support/text_of.h"

namespace korvane {
namespace {

using test::LoadedConnection;
using testing::HasSubstr;

class Loading : public test::StoreTest {
 protected:
  Loading() { add({test::full_rebar(make_revision(), make_material())}); }

  /// The connection is as it was, and can be closed when the library is gone.
  static void expect_failure(const std::string& filename, const std::string& before,
                             const std::string& reason) {
    LoadedConnection connection(filename, SQLITE_OPEN_READWRITE, false);
    if (!before.empty()) connection.rows(before);
    try {
      connection.load();
      FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& failure) {
      EXPECT_THAT(failure.what(), HasSubstr("cannot make the view unfinished_changes: " + reason));
    }
    EXPECT_EQ(connection.failure("select korvane_json('Rebar', null)"),
              "no such function: korvane_json");
  }
};

constexpr const char* kLabels = "select label from bars";

TEST_F(Loading, ReadsAFileThatIsOpenForReadingOnly) {
  const std::string before = test::text_of(file());
  const LoadedConnection connection(file(), SQLITE_OPEN_READONLY);
  EXPECT_EQ(connection.value(kLabels), "P-17-S.b");
  EXPECT_EQ(LoadedConnection("file:" + file() + "?mode=ro").value(kLabels), "P-17-S.b");
  EXPECT_EQ(
      LoadedConnection("file:" + file() + "?immutable=1", SQLITE_OPEN_READONLY).value(kLabels),
      "P-17-S.b");
  EXPECT_EQ(test::text_of(file()), before);
}

TEST_F(Loading, ReadsAFileInWriteAheadMode) {
  close();
  run_plainly("pragma journal_mode = wal");
  const LoadedConnection writer(file());
  writer.rows("update rebar set mark = '18'");
  EXPECT_EQ(LoadedConnection(file(), SQLITE_OPEN_READONLY).value(kLabels), "P-18-S.b");
}

TEST_F(Loading, ReadsWithASchemaThatIsNotTrustedAndDefensively) {
  const LoadedConnection connection(file());
  sqlite3_db_config(connection.handle(), SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(connection.handle(), SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  EXPECT_EQ(connection.value(kLabels), "P-17-S.b");
}

TEST_F(Loading, TakesADatabaseThatIsNotAProject) {
  const LoadedConnection connection(":memory:");
  EXPECT_EQ(connection.failure("select * from bars"), "no such table: main.rebar");
  EXPECT_EQ(connection.value("select 1"), "1");
}

TEST_F(Loading, FailsForAFileThatIsNotADatabase) {
  const std::string other = file() + ".txt";
  std::ofstream(other) << std::string(4096, 'x');
  expect_failure(other, "", "file is not a database");
}

TEST_F(Loading, FailsWhileAnotherProgramHasTheFile) {
  const LoadedConnection other(file(), SQLITE_OPEN_READWRITE, false);
  other.rows("begin exclusive");
  expect_failure(file(), "", "database is locked");
}

TEST_F(Loading, FailsWhereNothingMayBeMade) {
  expect_failure(file(), "pragma query_only = 1", "attempt to write a readonly database");
}

TEST_F(Loading, HidesNoTableThatTheDatabaseHas) {
  LoadedConnection connection(":memory:", SQLITE_OPEN_READWRITE, false);
  connection.rows("create table Sheets (a)");
  connection.rows("insert into sheets values ('mine')");
  connection.load();
  EXPECT_EQ(connection.value("select * from sheets"), "mine");
  EXPECT_EQ(connection.failure("select * from revisions"), "no such table: main.revision");
}

TEST_F(Loading, MayBeDoneAgain) {
  LoadedConnection connection(file());
  connection.load();
  EXPECT_EQ(connection.value(kLabels), "P-17-S.b");
}

TEST_F(Loading, LeavesTheFileAsItIs) {
  const std::string before = test::text_of(file());
  { LoadedConnection connection(file()); }
  EXPECT_EQ(test::text_of(file()), before);
}

TEST_F(Loading, ReadsAnAttachedProjectBesideTheMainOne) {
  const std::string copy = file() + ".old";
  const LoadedConnection connection(file());
  connection.rows("vacuum into '" + copy + "'");
  connection.rows("update rebar set mark = '18'");
  connection.rows("attach '" + copy + "' as \"o'l\"\"d\"");
  connection.rows("attach '" + copy + "' as old");
  EXPECT_EQ(connection.value("select korvane_views('old')"), "7");
  EXPECT_EQ(connection.value("select korvane_views('o''l\"d')"), "7");
  EXPECT_EQ(connection.rows("select n.label, o.label from bars n join old_bars o using (id)"),
            (test::Rows{{"P-18-S.b", "P-17-S.b"}}));
  EXPECT_EQ(connection.value("select label from \"o'l\"\"d_bars\""), "P-17-S.b");
}

TEST_F(Loading, ReadsAnAttachedProjectWhereTheMainDatabaseIsNone) {
  const LoadedConnection connection(":memory:");
  connection.rows("attach '" + file() + "' as p");
  connection.rows("select korvane_views('p')");
  EXPECT_EQ(connection.value("select label from p_bars"), "P-17-S.b");
}

}  // namespace
}  // namespace korvane
