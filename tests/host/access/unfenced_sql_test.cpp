// What SQL with the scope `sql` leaves behind, and what it reaches.

#include <string>

#include "tests/host/support/server_suite.h"

namespace korvane::test {
namespace {

class SqlScope : public ServerTest {
 protected:
  explicit SqlScope(bool is_unfenced = false) : ServerTest(limits(is_unfenced)) {
    client().call(project_, "create_sheet", {{"uid", "first"}});
  }

  HttpAnswer query(const std::string& sql) {
    return client().call(project_, "query_table", sql_request(sql));
  }
  /// The one cell of a query's one row.
  std::string value(const std::string& sql) {
    const nlohmann::json cell = query(sql).json().at("rows").at(0).at(0);
    return cell.at("value_string").is_string() ? cell.at("value_string").get<std::string>()
                                               : cell.dump();
  }
  void expect_refused(const std::string& sql, const std::string& action) {
    const HttpAnswer answer = query(sql);
    EXPECT_EQ(answer.status, 403) << sql;
    EXPECT_EQ(answer.detail(), "a call may change its project only: " + action + " is refused");
  }

 private:
  static host::ModelServerLimits limits(bool is_unfenced) {
    host::ModelServerLimits limits;
    limits.is_sql_unfenced = is_unfenced;
    return limits;
  }

  std::string project_ = server().open("project.db");
};

TEST_F(SqlScope, ChangesRowsAndTables) {
  EXPECT_EQ(query("insert into sheet (uid) values ('second')").status, 200);
  EXPECT_EQ(query("create table extra (a)").status, 200);
  EXPECT_EQ(query("vacuum").status, 200);
  EXPECT_EQ(query("pragma user_version = 7").status, 200);
  EXPECT_EQ(value("pragma user_version"), "7");
}

TEST_F(SqlScope, LeavesNoTransactionBehind) {
  expect_refused("begin", "begin, commit or rollback");
  expect_refused("savepoint s", "savepoint");
  EXPECT_EQ(query("insert into sheet (uid) values ('second')").status, 200);
  EXPECT_EQ(plain_rows(server().file("project.db"), "select count(*) from sheet"), (Rows{{"2"}}));
}

TEST_F(SqlScope, AttachesAndWritesNoOtherFile) {
  expect_refused("attach '/tmp/other.db' as other", "attach");
  expect_refused("vacuum into 'copy.db'", "attach");
  EXPECT_FALSE(std::filesystem::exists(server().file("copy.db")));
}

TEST_F(SqlScope, LeavesTheConnectionAsItWas) {
  expect_refused("pragma foreign_keys = off", "pragma foreign_keys");
  expect_refused("pragma query_only = on", "pragma query_only");
  expect_refused("create temp view sheet as select 1 as id", "changing the temporary schema");
  EXPECT_EQ(value("pragma foreign_keys"), "1");
}

class UnfencedSql : public SqlScope {
 protected:
  UnfencedSql() : SqlScope(true) {}
};

TEST_F(UnfencedSql, DoesEverything) {
  EXPECT_EQ(query("attach ':memory:' as other").status, 200);
  EXPECT_EQ(query("create table other.t (a)").status, 200);
  EXPECT_EQ(query("pragma foreign_keys = off").status, 200);
  EXPECT_EQ(query("vacuum into 'copy.db'").status, 200);
  EXPECT_TRUE(std::filesystem::exists(server().file("copy.db")));
}

TEST_F(UnfencedSql, LeavesNoTransactionBehindEither) {
  EXPECT_EQ(query("begin").status, 200);
  EXPECT_EQ(query("commit").status, 400);
  EXPECT_EQ(query("insert into sheet (uid) values ('second')").status, 200);
  EXPECT_EQ(plain_rows(server().file("project.db"), "select count(*) from sheet"), (Rows{{"2"}}));
}

TEST_F(UnfencedSql, IsFencedByGet) {
  EXPECT_EQ(
      client()
          .get("/v1/projects/project.db/query_table?request=%7B%22kind%22%3A%22sql%3Araw%22%2C"
               "%22params%22%3A%7B%22query%22%3A%7B%22value_string%22%3A%22"
               "delete%20from%20sheet%22%7D%7D%7D")
          .status,
      403);
}

}  // namespace
}  // namespace korvane::test
