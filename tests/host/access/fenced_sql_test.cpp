// SQL of clients: without the scope `sql` it only reads, and not for ever.

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <Poco/URI.h>

#include "tests/host/support/server_suite.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {
namespace {

using host::Scope;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class SqlTest : public ::testing::Test {
 protected:
  static constexpr std::size_t kRows = 3;
  static constexpr std::chrono::milliseconds kTime = 200ms;

  SqlTest() {
    const std::string reader = file_.add("reader", {Scope::read});
    const std::string master = file_.add("master", {Scope::read, Scope::write, Scope::sql});
    host::ModelServerLimits limits;
    limits.query_rows = kRows;
    limits.query.time = kTime;
    server_ = std::make_unique<TestServer>(limits, host::Tokens::load(folder_.file("tokens.json")));
    reader_ = std::make_unique<HttpClient>(server_->port(), bearer(reader));
    master_ = std::make_unique<HttpClient>(server_->port(), bearer(master));
    project_ = master_->call(kManager, "open", {{"filename", "p.db"}}).json().at("service_id");
    for (const char* const uid : {"a", "b"}) {
      master_->call(project_, "create_sheet", {{"uid", uid}});
    }
  }

  HttpAnswer query(HttpClient& client, const std::string& sql) {
    return client.call(project_, "query_table", sql_request(sql));
  }
  HttpAnswer query_by_get(HttpClient& client, const std::string& sql) {
    std::string request;
    Poco::URI::encode(sql_request(sql).dump(), "&+#?", request);
    return client.get(path_of(project_, "query_table") + "?request=" + request);
  }
  HttpClient& reader() { return *reader_; }
  HttpClient& master() { return *master_; }
  TestServer& server() { return *server_; }
  const std::string& project() const { return project_; }

  std::string file_bytes() const {
    std::ostringstream bytes;
    bytes << std::ifstream(server_->file("p.db"), std::ios::binary).rdbuf();
    return bytes.str();
  }
  Rows rows(const std::string& sql) const { return plain_rows(server_->file("p.db"), sql); }

 private:
  TemporaryFolder folder_;
  host::TokenFile file_{folder_.file("tokens.json")};
  std::unique_ptr<TestServer> server_;
  std::unique_ptr<HttpClient> reader_;
  std::unique_ptr<HttpClient> master_;
  std::string project_;
};

const std::vector<std::string> kWritingSql = {
    "insert into sheet (uid) values ('c')",
    "update sheet set uid = 'c' where uid = 'a'",
    "delete from sheet",
    "replace into sheet (id, uid) values (1, 'c')",
    "drop table sheet",
    "create table other (id)",
    "create temp table other (id)",
    "alter table sheet rename to other",
    "create index i on sheet (uid)",
    "attach 'other.db' as other",
    "pragma user_version = 5",
    "pragma journal_mode = wal",
    "vacuum",
    "vacuum into 'copy.db'",
    "begin immediate",
    "with x as (select 1) insert into sheet (uid) select 'c' from x",
    "insert into sheet (uid) values ('c') returning uid",
};

TEST_F(SqlTest, ReadsWithoutTheScope) {
  const HttpAnswer answer = query(reader(), "select uid from sheet order by uid");
  ASSERT_EQ(answer.status, 200) << answer.body;
  const auto rows = answer.json().at("rows");
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0][0].at("value_string"), "a");
  EXPECT_EQ(rows[1][0].at("value_string"), "b");
}

TEST_F(SqlTest, ReadsByGet) {
  for (HttpClient* const client : {&reader(), &master()}) {
    EXPECT_EQ(query_by_get(*client, "select count(*) from sheet").status, 200);
  }
}

TEST_F(SqlTest, WritesNothingWithoutTheScope) {
  const std::string before = file_bytes();
  for (const std::string& sql : kWritingSql) {
    const HttpAnswer answer = query(reader(), sql);
    EXPECT_EQ(answer.status, 403) << sql << ": " << answer.body;
    EXPECT_THAT(answer.detail(), StartsWith("a fenced query may only read: ")) << sql;
  }
  EXPECT_EQ(file_bytes(), before);
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(server().folder())) {
    EXPECT_EQ(entry.path().filename(), "p.db");
    ++files;
  }
  EXPECT_EQ(files, 1U);
}

TEST_F(SqlTest, WritesNothingByGetWhateverTheScope) {
  const std::string before = file_bytes();
  for (const std::string& sql : kWritingSql) {
    EXPECT_EQ(query_by_get(master(), sql).status, 403) << sql;
  }
  EXPECT_EQ(file_bytes(), before);
}

TEST_F(SqlTest, WritesNothingByHead) {
  std::string request;
  Poco::URI::encode(sql_request("delete from sheet").dump(), "&+#?", request);
  EXPECT_EQ(master().send("HEAD", path_of(project(), "query_table") + "?request=" + request).status,
            403);
  EXPECT_EQ(rows("select count(*) from sheet"), Rows({{"2"}}));
}

TEST_F(SqlTest, WritesWithTheScope) {
  EXPECT_EQ(query(master(), "insert into sheet (uid) values ('c')").status, 200);
  EXPECT_EQ(query(master(), "update sheet set uid = 'd' where uid = 'a'").status, 200);
  EXPECT_EQ(query(master(), "delete from sheet where uid = 'b'").status, 200);
  EXPECT_EQ(rows("select uid from sheet order by uid"), Rows({{"c"}, {"d"}}));
}

TEST_F(SqlTest, AttachesNothingAfterAStatementThatSqliteEndsElsewhere) {
  for (const char* const sql :
       {"create virtual table v using fts4(a, $b('x) ); attach '' as o --')",
        "select $b('x) ; attach '' as o --')",
        "create table w (a default @x::y(') ); begin --')"}) {
    EXPECT_EQ(query(master(), sql).status / 100, 4) << sql;
  }
  EXPECT_EQ(query(master(), "select * from pragma_database_list").json().at("rows").size(), 1U);
}

TEST_F(SqlTest, OfOneClientLeavesAnothersAsItWas) {
  EXPECT_EQ(query(reader(), "delete from sheet").status, 403);
  EXPECT_EQ(query(master(), "delete from sheet where uid = 'a'").status, 200);
  EXPECT_EQ(query(reader(), "delete from sheet").status, 403);
  EXPECT_EQ(master().call(project(), "create_sheet", {{"uid", "c"}}).status, 200);
  EXPECT_EQ(rows("select uid from sheet order by uid"), Rows({{"b"}, {"c"}}));
}

TEST_F(SqlTest, ThatIsMalformedIsABadRequestInsideTheFenceToo) {
  const HttpAnswer answer = query(reader(), "selec");
  EXPECT_EQ(answer.status, 400);
  EXPECT_THAT(answer.detail(), HasSubstr("syntax error"));
}

TEST_F(SqlTest, ThatDoesNotEndIsStopped) {
  const auto start = Clock::now();
  const HttpAnswer answer =
      query(reader(),
            "with recursive n(i) as (select 1 union all select i + 1 from n) select max(i) from n");
  EXPECT_EQ(answer.status, 422);
  EXPECT_EQ(answer.detail(), "a fenced query may take 200 ms: it was stopped");
  EXPECT_GE(Clock::now() - start, kTime);
  EXPECT_LT(Clock::now() - start, kTime + 2s);
  EXPECT_EQ(query(reader(), "select 1").status, 200);
}

std::string rows_of(std::size_t count) {
  return "with recursive n(i) as (select 1 union all select i + 1 from n limit " +
         std::to_string(count) + ") select i from n";
}

TEST_F(SqlTest, WithRowsUpToTheLimitIsAnsweredWhole) {
  const HttpAnswer answer = query(reader(), rows_of(kRows));
  ASSERT_EQ(answer.status, 200) << answer.body;
  EXPECT_EQ(answer.fields.count("korvane-truncated"), 0U);
  EXPECT_EQ(answer.json().at("rows").size(), kRows);
}

TEST_F(SqlTest, WithARowTooManyIsCutAndSaysSo) {
  const HttpAnswer answer = query(reader(), rows_of(kRows + 1));
  ASSERT_EQ(answer.status, 200) << answer.body;
  EXPECT_EQ(answer.fields.at("korvane-truncated"), "rows=3");
  EXPECT_EQ(answer.json().at("rows").size(), kRows);
  EXPECT_EQ(answer.json().at("columns").size(), 1U);
}

TEST_F(SqlTest, IsCutByGetAsWell) {
  const HttpAnswer answer = query_by_get(master(), rows_of(kRows + 1));
  EXPECT_EQ(answer.fields.at("korvane-truncated"), "rows=3");
}

TEST_F(SqlTest, IsAnsweredWholeWithTheScope) {
  const HttpAnswer answer = query(master(), rows_of(100));
  EXPECT_EQ(answer.fields.count("korvane-truncated"), 0U);
  EXPECT_EQ(answer.json().at("rows").size(), 100U);
}

TEST(SqlRows, AreAnsweredAsManyAsWereAllowedThoughTheFenceWouldEndTheQuerySooner) {
  host::ModelServerLimits limits;
  limits.query_rows = 5;
  limits.query.rows = 3;
  TemporaryFolder folder;
  host::TokenFile file(folder.file("tokens.json"));
  const std::string token = file.add("office", {Scope::read, Scope::write});
  const TestServer server(limits, host::Tokens::load(folder.file("tokens.json")));
  HttpClient client(server.port(), bearer(token));
  const std::string project =
      client.call(kManager, "open", {{"filename", "p.db"}}).json().at("service_id");
  const auto numbers = [&](int count) {
    return client.call(project, "query_table",
                       sql_request("with recursive n(i) as (select 1 union all select i + 1 from n "
                                   "limit " +
                                   std::to_string(count) + ") select i from n"));
  };
  EXPECT_EQ(numbers(5).json().at("rows").size(), 5U);
  EXPECT_EQ(numbers(5).fields.count("korvane-truncated"), 0U);
  EXPECT_EQ(numbers(6).json().at("rows").size(), 5U);
  EXPECT_EQ(numbers(6).fields.at("korvane-truncated"), "rows=5");
}

}  // namespace
}  // namespace korvane::test
