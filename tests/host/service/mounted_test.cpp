// What is served of a project beside its operations.

#include <atomic>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "host/access/tokens.h"
#include "platform/rpc4/failure.h"
#include "tests/host/support/server_suite.h"

namespace korvane::test {
namespace {

using host::MountedCall;
using host::MountedReply;
using host::MountedRoute;
using krv::rpc4::Effect;
using ::testing::HasSubstr;

MountedReply text_reply(std::string text) { return {"text/plain", std::move(text)}; }

std::vector<MountedRoute> mounted_routes() {
  MountedRoute print;
  print.operation = host::mounted_operation("print", Effect::reads);
  print.text = "Prints.";
  print.parameters = {{"kind", "What is printed", {"sheets", "bars", "fabrics"}},
                      {"name", "Whose name", {}, true},
                      {"wide", "All of it", host::on_or_off()}};
  print.reply_types = {"text/plain"};
  print.run = [](const MountedCall& call) {
    MountedReply reply =
        text_reply(*call.parameter("name") + " " + call.parameter("kind").value_or("all") +
                   (call.has("wide") ? " wide" : ""));
    if (call.parameter("name") == "file") reply.file_name = "list.txt";
    if (call.parameter("name") == "large") reply.body = std::string(1 << 20, 'x');
    if (call.parameter("name") == "missing") throw krv::rpc4::NotFound("no sheet \"missing\"");
    return reply;
  };
  MountedRoute store;
  store.operation = host::mounted_operation("store", Effect::writes);
  store.text = "Stores.";
  store.request_types = {"text/plain"};
  store.reply_types = {"text/plain"};
  store.check = [](const MountedCall& call) {
    if (call.body == "faulty") throw krv::rpc4::BadRequest("faulty is not a record");
  };
  store.run = [](const MountedCall& call) {
    if (call.body == "fail") throw std::runtime_error("cannot store");
    return text_reply(std::string(call.definition->name) + " " + std::string(call.body));
  };
  return {print, store};
}

class Mounted : public ::testing::Test {
 protected:
  Mounted() { server_.open("a.db"); }

  HttpAnswer get(const std::string& target) { return client_.get("/v1/projects/a.db/" + target); }
  HttpAnswer post(const std::string& body, const std::string& file = "a.db",
                  const std::string& parameters = "") {
    return client_.send("POST", "/v1/projects/" + file + "/store" + parameters, body,
                        {{"Content-Type", "text/plain"}});
  }

  TestServer server_{{}, std::nullopt, {}, mounted_routes()};
  HttpClient client_ = server_.client();
};

TEST_F(Mounted, RoutesAreServedBesideTheOperations) {
  const HttpAnswer answer = get("print?name=x&kind=bars&wide=true");
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(answer.fields.at("content-type"), "text/plain");
  EXPECT_EQ(answer.body, "x bars wide");
  EXPECT_EQ(get("list_sheets").status, 200);
}

TEST_F(Mounted, RoutesThatWriteTakeTheBody) {
  const HttpAnswer answer = post("content");
  EXPECT_EQ(answer.status, 200);
  EXPECT_THAT(answer.body, HasSubstr("Project_Service content"));
}

TEST_F(Mounted, RoutesNameTheFileThatABrowserKeeps) {
  EXPECT_EQ(get("print?name=file").fields.at("content-disposition"),
            "attachment; filename=\"list.txt\"");
  EXPECT_EQ(get("print?name=x").fields.count("content-disposition"), 0U);
}

TEST_F(Mounted, RoutesSendLargeReplies) {
  EXPECT_EQ(get("print?name=large").body.size(), std::size_t{1} << 20U);
}

TEST_F(Mounted, RoutesAreServedByTheirMethodAlone) {
  EXPECT_EQ(client_.send("POST", "/v1/projects/a.db/print?name=x", "").fields.at("allow"),
            "GET, HEAD");
  EXPECT_EQ(get("store").fields.at("allow"), "POST");
}

TEST_F(Mounted, RoutesRefuseAParameterThatTheyDoNotKnow) {
  EXPECT_EQ(get("print?name=x&sheet=4").status, 400);
  EXPECT_EQ(get("print?name=x&create=true").status, 400);
}

TEST_F(Mounted, RoutesRefuseAValueOutsideASet) {
  EXPECT_EQ(get("print?name=x&kind=spacers").detail(),
            "the parameter kind is \"spacers\"; expected sheets, bars or fabrics");
  EXPECT_EQ(get("print?name=x&wide=1").detail(),
            "the parameter wide is \"1\"; expected true or false");
}

TEST_F(Mounted, RoutesTakeTrueAsClientsGeneratedForPythonWriteIt) {
  EXPECT_EQ(get("print?name=x&wide=True").body, get("print?name=x&wide=true").body);
  EXPECT_EQ(get("print?name=x&wide=False").body, get("print?name=x&wide=false").body);
}

TEST_F(Mounted, RoutesRefuseARequestWithoutWhatTheyNeed) {
  const HttpAnswer answer = get("print");
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.detail(), "the parameter name is missing: Whose name");
}

TEST_F(Mounted, RoutesAnswerFailuresAsOperationsDo) {
  EXPECT_EQ(get("print?name=missing").status, 404);
  EXPECT_EQ(get("print?name=missing").detail(), "no sheet \"missing\"");
  EXPECT_EQ(post("fail").status, 500);
}

TEST_F(Mounted, RoutesOpenTheProjectOrMakeItIfAsked) {
  EXPECT_EQ(post("x", "b.db").status, 404);
  EXPECT_EQ(post("x", "b.db", "?create=true").status, 200);
  EXPECT_TRUE(std::filesystem::exists(server_.file("b.db")));
}

TEST_F(Mounted, RoutesRefuseWhatTheyCheckBeforeTheProjectIsMade) {
  const HttpAnswer answer = post("faulty", "c.db", "?create=true");
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.detail(), "faulty is not a record");
  EXPECT_FALSE(std::filesystem::exists(server_.file("c.db")));
}

TEST_F(Mounted, RoutesStayInTheRoot) {
  EXPECT_EQ(client_.get("/v1/projects/..%2Fa.db/print?name=x").status, 400);
}

TEST_F(Mounted, RoutesStandInTheOpenApiDocument) {
  const nlohmann::json paths = client_.get("/openapi.json").json().at("paths");
  const nlohmann::json get = paths.at("/v1/projects/{file}/print").at("get");
  EXPECT_EQ(get.at("operationId"), "Projects.print");
  EXPECT_EQ(get.at("parameters").at(0).at("schema").at("enum"),
            nlohmann::json::array({"sheets", "bars", "fabrics"}));
  EXPECT_EQ(get.at("parameters").at(1).at("required"), true);
  EXPECT_EQ(get.at("parameters").at(2).at("schema").at("type"), "boolean");
  const nlohmann::json post = paths.at("/v1/projects/{file}/store").at("post");
  EXPECT_TRUE(post.at("requestBody").at("content").contains("text/plain"));
}

TEST_F(Mounted, RoutesAreCountedUnderTheirName) {
  get("print?name=x");
  const std::string metrics = client_.get("/metrics").body;
  EXPECT_THAT(metrics, HasSubstr("mounted.print"));
}

/// A route that goes on for as long as it may.
MountedRoute lasting_route(std::atomic<int>& begun) {
  MountedRoute route;
  route.operation = host::mounted_operation("last", Effect::reads);
  route.text = "Lasts.";
  route.reply_types = {"text/plain"};
  route.check = [](const MountedCall& call) { call.require_time(); };
  route.run = [&begun](const MountedCall& call) -> MountedReply {
    ++begun;
    while (true) {
      call.require_time();
      std::this_thread::sleep_for(1ms);
    }
  };
  return route;
}

TEST(MountedRoutes, EndWhenTheTimeOfACallIsOver) {
  std::atomic<int> begun = 0;
  host::ModelServerLimits limits;
  limits.call.time = 50ms;
  TestServer server(limits, std::nullopt, {}, {lasting_route(begun)});
  server.open("a.db");
  const HttpAnswer answer = server.client().get("/v1/projects/a.db/last");
  EXPECT_EQ(answer.status, 422);
  EXPECT_EQ(answer.detail(), "a call may take 50 ms: it was stopped");
  EXPECT_EQ(server.client().get("/v1/projects/a.db/list_sheets").status, 200);
}

TEST(MountedRoutes, EndWhenNobodyWaitsForThem) {
  std::atomic<int> begun = 0;
  TestServer server({}, std::nullopt, {}, {lasting_route(begun)});
  server.open("a.db");
  {
    RawConnection connection(server.port());
    connection.send(header("GET /v1/projects/a.db/last"));
    wait_until([&] { return begun == 1; });
  }
  // The next call has its turn long before two minutes are over.
  const auto begin = Clock::now();
  EXPECT_EQ(server.client().get("/v1/projects/a.db/list_sheets").status, 200);
  EXPECT_LT(Clock::now() - begin, 20s);
}

TEST(MountedRoutes, AreServedToWhoHasTheScopeOfTheirEffect) {
  const TemporaryFolder folder;
  host::TokenFile file(folder.file("tokens.json"));
  const std::string reader = file.add("reader", {host::Scope::read});
  const std::string writer = file.add("writer", {host::Scope::write});
  TestServer server({}, host::Tokens::load(folder.file("tokens.json")), {}, mounted_routes());
  HttpClient reading = server.client_of(reader);
  HttpClient writing = server.client_of(writer);
  const std::string print = "/v1/projects/a.db/print?name=x";
  const std::string store = "/v1/projects/a.db/store?create=true";
  EXPECT_EQ(writing.send("POST", store, "x").status, 200);
  EXPECT_EQ(reading.send("POST", store, "x").status, 403);
  EXPECT_EQ(reading.get(print).status, 200);
  EXPECT_EQ(writing.get(print).status, 403);
  EXPECT_EQ(server.client().get(print).status, 401);
}

}  // namespace
}  // namespace korvane::test
