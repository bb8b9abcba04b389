// The log of a server: a JSON line for each request, with what the plugin logged meanwhile.

#include <future>
#include <regex>
#include <string>
#include <vector>

#include "tests/host/support/logged_server.h"
#include "tests/host/support/server_suite.h"

namespace korvane::test {
namespace {

using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::StartsWith;

const std::regex kTime(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z)");

json plugin_line(int severity, const std::string& message) {
  return {{"severity", severity}, {"message", message}};
}

class LogTest : public ::testing::Test {
 protected:
  TestServer& server() { return logged_.server(); }
  HttpClient& client() { return client_; }
  LoggedServer& log() { return logged_; }

  /// The one line of the only request.
  json only_request() {
    const auto requests = logged_.end_with_requests();
    EXPECT_EQ(requests.size(), 1U);
    return requests.empty() ? json() : requests[0];
  }

 private:
  LoggedServer logged_;
  HttpClient client_ = server().client();
};

TEST_F(LogTest, HasALineForARequestWithItsFields) {
  const std::string body = R"({"value_int32":20})";
  const HttpAnswer answer =
      client().send("POST", path_of(kProbe, "sleep"), body, {{"Content-Type", kJson}});
  const json line = only_request();
  EXPECT_TRUE(std::regex_match(line.at("time").get<std::string>(), kTime)) << line;
  EXPECT_THAT(line.at("peer").get<std::string>(), StartsWith("127.0.0.1:"));
  EXPECT_EQ(line.at("client"), "127.0.0.1");
  EXPECT_EQ(line.at("method"), "POST");
  EXPECT_EQ(line.at("path"), "/v1/probe:0/sleep");
  EXPECT_EQ(line.at("status"), 200);
  EXPECT_GE(line.at("milliseconds"), 20.0);
  EXPECT_LT(line.at("milliseconds"), 10'000.0);
  EXPECT_EQ(line.at("request_bytes"), body.size());
  EXPECT_EQ(line.at("reply_bytes"), answer.body.size());
  EXPECT_EQ(line.size(), 10U) << line;
}

TEST_F(LogTest, HasALineForEachRequest) {
  for (int i = 0; i < 5; ++i) client().get("/healthz/live");
  client().get("/nowhere");
  std::vector<int> statuses;
  for (const json& line : log().end_with_requests()) statuses.push_back(line.at("status"));
  EXPECT_THAT(statuses, ElementsAre(200, 200, 200, 200, 200, 404));
}

TEST_F(LogTest, TellsAFailuresDetail) {
  const std::string detail =
      client().call(kProbe, "fail", {{"value_string", "no such\nluck"}}).detail();
  EXPECT_EQ(only_request().at("detail"), detail);
}

TEST_F(LogTest, TellsWhatWasSentForRefusedCalls) {
  client().send("POST", path_of(kProbe, "count"), "{}", {{"Content-Type", "text/plain"}});
  const json line = only_request();
  EXPECT_EQ(line.at("status"), 415);
  EXPECT_EQ(line.at("request_bytes"), 0);
}

TEST_F(LogTest, KeepsWhatIsAskedForOutOfThePath) {
  client().get("/v1/probe:0/count?request={}");
  EXPECT_EQ(only_request().at("path"), "/v1/probe:0/count");
}

TEST_F(LogTest, HasThePluginsLinesInThoseOfTheirRequests) {
  const std::string project = TestServer::open("project.db", client());
  client().call(project, "list_sheets");
  client().call(project, "query_table", {{"kind", "other"}});
  client().call(project, "query_table", sql_request("select 1"));
  client().call(project, "query_table", {{"kind", "sql:raw"}});
  client().call(project, "create_sheet");
  const auto requests = log().end_with_requests();
  ASSERT_EQ(requests.size(), 6U);
  EXPECT_EQ(requests[0].at("lines"), json({plugin_line(0, "project.db: exists=0")}));
  EXPECT_EQ(requests[1].at("lines"), json({plugin_line(0, "list_t_impl: tbl_id=sheet")}));
  EXPECT_EQ(requests[2].at("lines"), json({plugin_line(2, "unhandled query kind: other")}));
  EXPECT_EQ(requests[3].at("lines"), json({plugin_line(0, "query_table_impl: statement=select 1"),
                                           plugin_line(0, "query_table_impl returned 1 records")}));
  EXPECT_EQ(requests[4].at("lines"), json({plugin_line(2, "No query or empty query")}));
  EXPECT_EQ(requests[4].at("status"), 400);
  EXPECT_FALSE(requests[5].contains("lines"));
}

TEST_F(LogTest, HasTheLinesOfAnOpeningWithThoseOfTheCallThatNeededIt) {
  EXPECT_EQ(client()
                .send("POST", "/v1/projects/fresh.db/create_sheet?create=true", "{}",
                      {{"Content-Type", kJson}})
                .status,
            200);
  const auto requests = log().end_with_requests();
  EXPECT_EQ(requests.back().at("lines"), json({plugin_line(0, "fresh.db: exists=0")}));
}

TEST_F(LogTest, HasThePluginsLinesUnchanged) {
  const std::string project = TestServer::open("\xE2\x82\xAC \"quoted\" \\.db", client());
  const std::string sql = "select '\n{\"status\":200}\n\t\xF0\x9F\x98\x80'";
  client().call(project, "query_table", sql_request(sql));
  const auto requests = log().end_with_requests();
  EXPECT_EQ(requests[0].at("lines")[0].at("message"), "\xE2\x82\xAC \"quoted\" \\.db: exists=0");
  EXPECT_EQ(requests[1].at("lines")[0].at("message"), "query_table_impl: statement=" + sql);
}

TEST_F(LogTest, HasLinesOutsideOfRequestsOnTheirOwn) {
  client().get("/v1");
  const auto lines = log().end_with_lines();
  ASSERT_GE(lines.size(), 4U);
  EXPECT_EQ(lines[0].at("message"), "Starting ProjectManager_Service_Impl");
  EXPECT_TRUE(lines[1].contains("peer"));
  EXPECT_EQ(lines[2].at("message"), "Stopping ProjectManager_Service_Impl");
  EXPECT_EQ(lines[3].at("message"), "Stopped ProjectManager_Service_Impl");
  for (const json& line : lines) {
    EXPECT_TRUE(std::regex_match(line.at("time").get<std::string>(), kTime)) << line;
    if (line.contains("peer")) continue;
    EXPECT_EQ(line.at("severity"), 0);
    EXPECT_EQ(line.size(), 3U);
  }
}

TEST_F(LogTest, KeepsTheLinesOfConcurrentCallsApart) {
  constexpr int kClients = 4;
  constexpr int kCalls = 25;
  std::vector<std::string> projects;
  for (int i = 0; i < kClients; ++i) {
    projects.push_back(server().open(std::to_string(i) + ".db"));
  }
  std::vector<std::future<void>> clients;
  for (const std::string& project : projects) {
    clients.push_back(std::async(std::launch::async, [&] {
      HttpClient own = server().client();
      for (int call = 0; call < kCalls; ++call) {
        own.call(project, "query_table", sql_request("select '" + project + "'"));
      }
    }));
  }
  for (auto& client : clients) client.get();
  int queries = 0;
  for (const json& line : log().end_with_requests()) {
    const std::string path = line.at("path");
    if (!path.ends_with("/query_table")) continue;
    ++queries;
    ASSERT_EQ(line.at("lines").size(), 2U) << line;
    const std::string project = path.substr(4, path.rfind('/') - 4);
    EXPECT_EQ(line.at("lines")[0].at("message"),
              "query_table_impl: statement=select '" + project + "'");
  }
  EXPECT_EQ(queries, kClients * kCalls);
}

TEST_F(LogTest, CannotBeWrittenIntoByAPath) {
  const std::string forged = R"({"status":200,"peer":"forged"})";
  const std::vector<std::string> targets = {"/x%0A" + forged, "/x%0D%0A" + forged, "/x\\n" + forged,
                                            "/\xFF\xC0\x80", "/\xE2\x80\xA8x"};
  for (const std::string& target : targets) {
    auto connection = RawConnection(server().port());
    connection.send(header("GET " + target));
    EXPECT_EQ(connection.read_answer().status, 404) << target;
  }
  const auto lines = log().end_with_requests();
  ASSERT_EQ(lines.size(), targets.size());
  for (const json& line : lines) {
    EXPECT_EQ(line.at("status"), 404);
    EXPECT_NE(line.at("peer"), "forged");
  }
}

TEST_F(LogTest, CannotBeWrittenIntoByAHeader) {
  for (const std::string text :
       {"GET /\n{\"status\":200,\"peer\":\"forged\"}\r\n\r\n", "X \x1B[2J\xFF HTTP/1.1\r\n\r\n"}) {
    auto connection = RawConnection(server().port());
    connection.send(text);
    EXPECT_EQ(connection.read_answer().status, 400);
  }
  const auto lines = log().end_with_requests();
  ASSERT_EQ(lines.size(), 2U);
  for (const json& line : lines) {
    EXPECT_EQ(line.at("status"), 400);
    EXPECT_THAT(line.at("peer").get<std::string>(), StartsWith("127.0.0.1:"));
    EXPECT_TRUE(line.contains("detail"));
  }
}

TEST_F(LogTest, TellsOfAReplyThatCouldNotBeSent) {
  const std::string project = TestServer::open("project.db", client());
  auto connection = RawConnection(server().port());
  connection.send(
      call_text(project, "query_table", sql_request("select hex(zeroblob(8000000))").dump()));
  ASSERT_TRUE(connection.has_answer_within(10s));
  connection.reset();
  const auto requests = log().end_with_requests();
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_FALSE(requests[0].contains("sent"));
  EXPECT_EQ(requests[1].at("sent"), false);
  EXPECT_EQ(requests[1].at("status"), 200);
}

TEST_F(LogTest, TellsOfABodyThatBrokeOff) {
  auto connection = RawConnection(server().port());
  connection.send(call_header(kProbe, "count", content_length(10)) + "{");
  connection.end();
  connection.read_answer();
  const json line = only_request();
  EXPECT_EQ(line.at("status"), 400);
  EXPECT_EQ(line.at("detail"), "the body broke off");
}

TEST(LogOfASeverity, HasNoLinesBelowIt) {
  LoggedServer log({}, std::nullopt, krv::log::request);
  HttpClient client = log.server().client();
  const std::string project = TestServer::open("project.db", client);
  client.call(project, "query_table", {{"kind", "other"}});
  client.call(project, "list_sheets");
  const auto lines = log.end_with_lines();
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_FALSE(lines[0].contains("lines"));
  EXPECT_EQ(lines[1].at("lines"), json({plugin_line(2, "unhandled query kind: other")}));
  EXPECT_FALSE(lines[2].contains("lines"));
}

}  // namespace
}  // namespace korvane::test
