#include "sqlite/database.h"

#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace korvane::sqlite {
namespace {

using Access = Database::Access;

TEST(Database, MakesAFileOnlyWhenItIsTold) {
  const test::TemporaryFolder folder;
  const std::string path = folder.file("a.db");
  EXPECT_THROW(Database(path, Access::read), DatabaseError);
  EXPECT_THROW(Database(path, Access::write), DatabaseError);
  EXPECT_FALSE(std::filesystem::exists(path));
  Database(path, Access::make).run("create table t (a)");
  EXPECT_TRUE(std::filesystem::exists(path));
}

TEST(Database, NamesTheFileThatIsNotADatabase) {
  const test::TemporaryFolder folder;
  const std::string path = folder.file("a.db");
  std::ofstream(path) << std::string(4096, 'x');
  Database database(path, Access::read);
  try {
    database.run("select * from sqlite_schema");
    FAIL() << "nothing was thrown";
  } catch (const DatabaseError& error) {
    EXPECT_EQ(error.what(), "\"" + path + "\": file is not a database");
    EXPECT_EQ(error.code(), SQLITE_NOTADB);
  }
}

TEST(Statement, BindsAndReadsEveryKindOfValue) {
  const test::TemporaryFolder folder;
  const Database database(folder.file("a.db"), Access::make);
  Statement statement(database, "select ?, ?, ?, ?, ?");
  statement.bind(1, std::int64_t{1} << 40).bind(2, 0.5).bind(3, std::string_view("a\0b", 3));
  statement.bind_bytes(4, std::string_view("\0", 1)).bind_null(5);
  ASSERT_TRUE(statement.next());
  EXPECT_EQ(statement.integer(0), std::int64_t{1} << 40);
  EXPECT_EQ(statement.real(1), 0.5);
  EXPECT_EQ(statement.text(2), std::string_view("a\0b", 3));
  EXPECT_EQ(statement.bytes(3), std::string_view("\0", 1));
  EXPECT_TRUE(statement.is_null(4));
  EXPECT_FALSE(statement.next());
}

}  // namespace
}  // namespace korvane::sqlite
