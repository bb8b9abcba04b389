// Calls on project files that would never let them end, and calls that leave a transaction open.

#include <string>

#include "tests/host/support/server_suite.h"

namespace korvane::test {
namespace {

using ::testing::HasSubstr;

constexpr std::chrono::milliseconds kTime = 1s;
constexpr std::int64_t kRows = 1000;
constexpr std::int64_t kBytes = 100'000;

host::ModelServerLimits small_limits() {
  host::ModelServerLimits limits;
  limits.call.time = kTime;
  limits.call.rows = kRows;
  limits.call.bytes = kBytes;
  return limits;
}

/// A server whose calls are soon stopped, with a project whose file others have a hand in.
class BoundedCall : public ServerTest {
 protected:
  BoundedCall() : ServerTest(small_limits()) {}

  const std::string& project() const { return project_; }
  HttpAnswer call(const std::string& operation,
                  const nlohmann::json& request = nlohmann::json::object()) {
    return client().call(project_, operation, request);
  }
  HttpAnswer query(const std::string& text) { return call("query_table", sql_request(text)); }
  void run_plainly(const std::string& text) {
    PlainConnection(server().file("p.db"), PlainConnection::Mode::kWrite).run(text);
  }

  void expect_stopped(const HttpAnswer& answer, const std::string& reason) {
    EXPECT_EQ(answer.status, 422) << answer.body;
    EXPECT_EQ(answer.detail(), "a call may " + reason + ": it was stopped");
  }
  /// Whether the project and another one go on, reading and writing.
  void expect_the_rest_works() {
    EXPECT_EQ(call("create_material").status, 200);
    EXPECT_EQ(call("list_materials").status, 200);
    const std::string other = server().open("other.db");
    EXPECT_EQ(client().call(other, "create_sheet").status, 200);
    EXPECT_EQ(client().call(other, "list_sheets").status, 200);
  }

 private:
  std::string project_ = server().open("p.db");
};

/// A view in the place of the sheets over the numbers from 1 on, without an end.
std::string endless_sheets(const std::string& columns, const std::string& condition) {
  return "drop table sheet; create view sheet as with recursive n (i) as "
         "(select 1 union all select i + 1 from n) select " +
         columns + " from n where " + condition;
}

TEST_F(BoundedCall, ThatReadsAViewWithoutEndIsStopped) {
  run_plainly(endless_sheets("i as id, '' as uid, x'00' as raw", "i < 0"));
  const auto start = Clock::now();
  const std::string time = "take " + std::to_string(kTime.count()) + " ms";
  expect_stopped(call("list_sheets"), time);
  EXPECT_LT(Clock::now() - start, kTime + 5s);
  expect_stopped(call("get_sheet", {{"id", -1}}), time);
  expect_stopped(query("select * from sheet"), time);
  expect_the_rest_works();
}

TEST_F(BoundedCall, ThatReadsRowsWithoutEndIsStopped) {
  run_plainly(endless_sheets("i as id, '' as uid, x'00' as raw", "true"));
  expect_stopped(call("list_sheets"), "give " + std::to_string(kRows) + " rows");
  expect_the_rest_works();
}

TEST_F(BoundedCall, ThatReadsTooManyBytesIsStopped) {
  run_plainly(
      endless_sheets("i as id, '' as uid, cast(x'00' || zeroblob(5000) as blob) as raw", "true"));
  expect_stopped(call("list_sheets"),
                 "give values of 134217728 bytes each and " + std::to_string(kBytes) + " in all");
  expect_the_rest_works();
}

TEST_F(BoundedCall, ThatSetsOffATriggerWithoutEndIsStoppedAndStoresNothing) {
  run_plainly(
      "create table log (i); create trigger t after insert on sheet begin insert into log "
      "with recursive n (i) as (select 1 union all select i + 1 from n) select i from n; end");
  expect_stopped(call("create_sheet"), "take " + std::to_string(kTime.count()) + " ms");
  EXPECT_EQ(plain_rows(server().file("p.db"), "select count(*) from sheet"), Rows({{"0"}}));
  EXPECT_EQ(plain_rows(server().file("p.db"), "select count(*) from log"), Rows({{"0"}}));
  run_plainly("drop trigger t");
  EXPECT_EQ(call("create_sheet").status, 200);
  expect_the_rest_works();
}

TEST_F(BoundedCall, ThatRunsSqlWithoutEndIsStoppedWithTheScopeToo) {
  expect_stopped(query("with recursive n (i) as (select 1 union all select i + 1 from n) "
                       "select max(i) from n"),
                 "take " + std::to_string(kTime.count()) + " ms");
  expect_the_rest_works();
}

TEST_F(BoundedCall, ThatWritesMayWriteMoreThanOthersMayRead) {
  const int material = call("create_material").json().at("id");
  const int sheet = call("create_sheet").json().at("id");
  const int revision = call("create_revision", {{"sheet_id", sheet}}).json().at("id");
  auto bars = nlohmann::json::array();
  for (int i = 0; i < 100; ++i) {
    bars.push_back({{"rev_id", revision},
                    {"material_id", material},
                    {"end_treatment_start", {{"comment", std::string(2000, 'a')}}}});
  }
  // A row of each treatment's search that finds it, and none is left out.
  EXPECT_EQ(call("add_rebar", {{"items", bars}}).status, 200);
  EXPECT_EQ(plain_rows(server().file("p.db"), "select count(*) from rebar"), Rows({{"100"}}));
  EXPECT_EQ(call("get_rebars", {{"id", revision}}).status, 422);
}

TEST_F(BoundedCall, UsesViewsAndTriggersThatDoEnd) {
  EXPECT_EQ(query("create view names as select uid from sheet").status, 200);
  EXPECT_EQ(query("create trigger t after insert on sheet begin "
                  "update sheet set uid = trim(new.uid) where id = new.id; end")
                .status,
            200);
  EXPECT_EQ(call("create_sheet", {{"uid", " a "}}).status, 200);
  const HttpAnswer answer = query("select uid from names");
  EXPECT_EQ(answer.json().at("rows")[0][0].at("value_string"), "a");
}

// --- Transactions.

/// Holds up commits, not what comes before.
class Reader {
 public:
  explicit Reader(const std::string& file) : connection_(file, PlainConnection::Mode::kRead) {
    connection_.run("begin; select count(*) from sqlite_master");
  }

 private:
  PlainConnection connection_;
};

TEST_F(BoundedCall, WhoseCommitAnotherProgramsReaderHoldsUpCanBeRepeated) {
  query("PRAGMA busy_timeout = 50");
  {
    const Reader reader(server().file("p.db"));
    const HttpAnswer answer = call("create_sheet", {{"uid", "a"}});
    EXPECT_EQ(answer.status, 503) << answer.body;
    EXPECT_THAT(answer.detail(), HasSubstr("locked"));
    EXPECT_EQ(call("create_sheet", {{"uid", "a"}}).status, 503);
    EXPECT_EQ(call("list_sheets").json().at("items").size(), 0U);
  }
  EXPECT_EQ(call("create_sheet", {{"uid", "a"}}).status, 200);
  EXPECT_EQ(call("list_sheets").json().at("items").size(), 1U);
}

TEST_F(BoundedCall, ThatFailsToClearLeavesTheTablesAndNoTransaction) {
  EXPECT_EQ(call("create_sheet").status, 200);
  // The tables go from the last to the first, and a view is not dropped as a table.
  run_plainly("drop table project; create view project as select 1 as id, x'00' as raw");
  EXPECT_EQ(call("clear", {{"reset_schema", true}}).status, 422);
  EXPECT_EQ(call("create_sheet").status, 200);
  EXPECT_EQ(call("list_sheets").json().at("items").size(), 2U);
}

}  // namespace
}  // namespace korvane::test
