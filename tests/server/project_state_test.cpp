// What is found out about a project: the state that replies are named after.

#include "server/project_state.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>

#include "platform/rpc4/directory.h"
#include "platform/rpc4/transactional.h"
#include "schedule/drawing/print_bending_list.h"
#include "schedule/query.h"
#include "tests/server/schedule_server.h"
#include "tests/support/plain_sqlite.h"

namespace korvane::test {
namespace {

using ::testing::HasSubstr;

host::Mounted routes_with_states() {
  host::Mounted mounted = server::project_routes();
  mounted.state_of = server::state_of;
  return mounted;
}

class ProjectState : public ::testing::Test {
 protected:
  ProjectState() {
    EXPECT_EQ(
        client_
            .send("POST", "/v1/projects/a.db/import?create=true",
                  text_of(KORVANE_EXAMPLES "/guideline.abs"), {{"Content-Type", "text/plain"}})
            .status,
        200);
  }

  HttpAnswer get(const std::string& target, const HttpFields& fields = {}) {
    return client_.get("/v1/projects/a.db/" + target, fields);
  }

  static host::ModelServerLimits limits() {
    host::ModelServerLimits limits;
    limits.query.lock_wait = std::chrono::milliseconds(200);
    limits.around_query.before = [](const krv::rpc4::LiveService& project, std::string_view) {
      schedule::execute(*static_cast<model::cad::Project_Service*>(project.service),
                        "select count(*) from rebar");
    };
    return limits;
  }

  TestServer server_{limits(), std::nullopt, {}, routes_with_states()};
  HttpClient client_ = server_.client();
};

TEST_F(ProjectState, IsAnotherAfterAnotherProgramHasWrittenWhateverTheFileHas) {
  PlainConnection other(server_.file("a.db"), PlainConnection::Mode::kWrite);
  other.run("create table pragma_data_version (data_version)");
  other.run("insert into pragma_data_version values (1)");
  const std::string seen = get("lines?kind=bars&revision_id=1").fields.at("etag");
  EXPECT_EQ(get("lines?kind=bars&revision_id=1", {{"If-None-Match", seen}}).status, 304);
  other.run("update rebar set raw = (select raw from rebar where id = 3) where id = 2");
  EXPECT_EQ(get("lines?kind=bars&revision_id=1", {{"If-None-Match", seen}}).status, 200);
}

TEST_F(ProjectState, KeepsNoValueOfATransactionThatIsTakenBack) {
  const auto all = krv::rpc4::live_services();
  const auto live = std::find_if(all.begin(), all.end(), [](const krv::rpc4::LiveService& one) {
    return one.definition == &model::cad::Project_Service::definition();
  });
  ASSERT_NE(live, all.end());
  auto& project = *static_cast<model::cad::Project_Service*>(live->service);
  server::FoundValues<std::int64_t> values;
  const auto sheets = [&] {
    return values.get(project, "sheets", [&] {
      return schedule::integer_in(schedule::query_row<1>(project, "select count(*) from sheet")[0]);
    });
  };
  live->transactional->begin_unit();
  schedule::execute(project, "insert into sheet (uid, raw) values ('new', x'')");
  const std::int64_t within = sheets();
  live->transactional->roll_back_unit();
  EXPECT_EQ(sheets(), within - 1);
}

TEST_F(ProjectState, IsOfTheDayThatListsBear) {
  std::string day = schedule::drawing::today();
  std::erase(day, '-');
  EXPECT_THAT(get("bending-list?format=html").fields.at("etag"), HasSubstr("." + day + "\""));
}

TEST_F(ProjectState, LetsNoQueryWaitForALockLongerThanItMay) {
  PlainConnection other(server_.file("a.db"), PlainConnection::Mode::kWrite);
  other.run("begin exclusive");
  const auto begin = std::chrono::steady_clock::now();
  const HttpAnswer answer =
      get("query_table?request=%7B%22kind%22:%22sql:raw%22,%22params%22:%7B%22query%22:%7B%22value_"
          "string%22:%22select%20count(*)%20from%20sheet%22%7D%7D%7D");
  EXPECT_NE(answer.status, 200) << answer.body;
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}

}  // namespace
}  // namespace korvane::test
