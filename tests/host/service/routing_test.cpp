// What is served where: paths, methods, and the forms of bodies and replies.

#include <cstdint>
#include <filesystem>
#include <string>

#include <Poco/URI.h>

#include "bond/blob.h"
#include "contracts/common/variant.h"
#include "contracts/encoding/record_codec.h"
#include "tests/host/support/server_suite.h"

namespace korvane::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

std::string bytes_of(const bond::blob& blob) { return {blob.content(), blob.size()}; }

std::string encoded(const std::string& text) {
  std::string result;
  Poco::URI::encode(text, "&+#?", result);
  return result;
}

class RoutingTest : public ServerTest {
 protected:
  /// The probe counts its calls: the first has the reply 1.
  HttpAnswer count_once(const std::string& content_type, const std::string& accept = "") {
    Variant request;
    request.value_int32.set(0);
    const std::string body =
        content_type == kJson ? R"({"value_int32":0})" : bytes_of(encoding::encode(request));
    HttpFields fields = {{"Content-Type", content_type}};
    if (!accept.empty()) fields.emplace_back("Accept", accept);
    return client().send("POST", path_of(kProbe, "sleep"), body, fields);
  }

  static void expect_json(const HttpAnswer& answer) {
    ASSERT_EQ(answer.status, 200) << answer.body;
    EXPECT_EQ(answer.fields.at("content-type"), kJson);
    EXPECT_EQ(answer.json().at("value_int32"), 1);
  }
  static void expect_compact_binary(const HttpAnswer& answer) {
    ASSERT_EQ(answer.status, 200) << answer.body;
    EXPECT_EQ(answer.fields.at("content-type"), kCompactBinary);
    const auto reply = encoding::decode<Variant>(answer.body.data(),
                                                 static_cast<std::uint32_t>(answer.body.size()));
    EXPECT_EQ(*reply.value_int32, 1);
  }
};

using Representations = RoutingTest;

TEST_F(Representations, JsonIsAnsweredWithJson) { expect_json(count_once(kJson)); }

TEST_F(Representations, CompactBinaryIsAnsweredWithCompactBinary) {
  expect_compact_binary(count_once(kCompactBinary));
}

TEST_F(Representations, JsonIsAnsweredWithCompactBinaryForWhoAcceptsThat) {
  expect_compact_binary(count_once(kJson, kCompactBinary));
}

TEST_F(Representations, CompactBinaryIsAnsweredWithJsonForWhoAcceptsThat) {
  expect_json(count_once(kCompactBinary, kJson));
}

TEST_F(Representations, WhoAcceptsAnythingIsAnsweredInTheRequestsForm) {
  expect_compact_binary(count_once(kCompactBinary, "*/*"));
}

TEST_F(Representations, WhoAcceptsEveryApplicationTypeIsAnsweredInTheRequestsForm) {
  expect_compact_binary(count_once(kCompactBinary, "application/*"));
}

TEST_F(Representations, WhoLikesBothAlikeIsAnsweredInTheRequestsForm) {
  expect_compact_binary(count_once(kCompactBinary, kJson + ";q=0.5, " + kCompactBinary + ";q=0.5"));
}

TEST_F(Representations, TheHigherWeightWins) {
  expect_json(count_once(kCompactBinary, kCompactBinary + ";q=0.4, " + kJson + ";q=0.6"));
}

TEST_F(Representations, ATypeWithoutWeightHasTheHighest) {
  expect_json(count_once(kCompactBinary, kCompactBinary + ";q=0.9, " + kJson));
}

TEST_F(Representations, TheRangeThatFitsBestHasTheSay) {
  expect_compact_binary(count_once(kJson, "*/*, application/json;q=0"));
}

TEST_F(Representations, TypesThatAreNotServedAreSkipped) {
  expect_json(count_once(kCompactBinary, "text/html, application/json;q=0.1"));
}

TEST_F(Representations, ACallThatAcceptsNothingServedIsRefusedAndNotRun) {
  for (const char* const accept : {"text/html", "text/*", "application/json;q=0", "*/*;q=0"}) {
    const HttpAnswer answer = count_once(kJson, accept);
    EXPECT_EQ(answer.status, 406) << accept;
    EXPECT_EQ(answer.detail(),
              "replies come as application/json or application/x-bond-compact-binary");
  }
  expect_json(count_once(kJson));
}

TEST_F(Representations, ACharsetIsIgnored) {
  const HttpAnswer answer = client().send("POST", path_of(kProbe, "count"), "{}",
                                          {{"Content-Type", "application/json; charset=utf-8"}});
  EXPECT_EQ(answer.status, 200) << answer.body;
}

TEST_F(Representations, MediaTypesAreReadInAnyCase) {
  const HttpAnswer answer =
      client().send("POST", path_of(kProbe, "count"), "{}", {{"Content-Type", "Application/JSON"}});
  EXPECT_EQ(answer.status, 200) << answer.body;
}

TEST_F(Representations, ACallWithoutContentTypeIsRefused) {
  const HttpAnswer answer = client().send("POST", path_of(kProbe, "count"), "{}");
  EXPECT_EQ(answer.status, 415);
  EXPECT_EQ(answer.detail(),
            "the Content-Type is \"\"; expected application/json or "
            "application/x-bond-compact-binary");
}

TEST_F(Representations, ACallOfAnotherContentTypeIsRefused) {
  for (const char* const type : {"text/plain", "application/jsonp", "application", "json", "*/*",
                                 "application/x-www-form-urlencoded", "multipart/form-data"}) {
    const HttpAnswer answer =
        client().send("POST", path_of(kProbe, "count"), "{}", {{"Content-Type", type}});
    EXPECT_EQ(answer.status, 415) << type;
    EXPECT_THAT(answer.detail(), HasSubstr("\"" + std::string(type) + "\""));
  }
}

class GetTest : public RoutingTest {
 protected:
  HttpAnswer get_sheet(const std::string& query) {
    return client().get(path_of(project_, "get_sheet") + query);
  }
  const std::string& project() const { return project_; }

 private:
  std::string project_ = server().open("project.db");
};

TEST_F(GetTest, ReadsWithAPercentEncodedRequest) {
  client().call(project(), "create_sheet", {{"uid", "a&b=c%"}, {"name", "Foundation"}});
  const HttpAnswer answer = get_sheet("?request=" + encoded(R"({"uid":"a&b=c%"})"));
  ASSERT_EQ(answer.status, 200) << answer.body;
  EXPECT_EQ(answer.json().at("name"), "Foundation");
}

TEST_F(GetTest, APlusInTheRequestIsABlank) {
  client().call(project(), "create_sheet", {{"uid", "two words"}});
  EXPECT_EQ(get_sheet("?request={%22uid%22:%22two+words%22}").status, 200);
}

TEST_F(GetTest, ARequestLeftOutHasItsDefaults) {
  for (const char* const query : {"", "?"}) {
    const HttpAnswer answer = client().get(path_of(project(), "list_sheets") + query);
    ASSERT_EQ(answer.status, 200) << answer.body;
    EXPECT_THAT(answer.json().at("items"), IsEmpty());
  }
}

TEST_F(GetTest, IsAnsweredInTheFormThatIsAccepted) {
  const HttpAnswer answer =
      client().get(path_of(project(), "list_sheets"), {{"Accept", kCompactBinary}});
  ASSERT_EQ(answer.status, 200) << answer.body;
  EXPECT_EQ(answer.fields.at("content-type"), kCompactBinary);
}

TEST_F(GetTest, AContentTypeDoesNotMatter) {
  const HttpAnswer answer =
      client().get(path_of(project(), "list_sheets"), {{"Content-Type", "text/plain"}});
  EXPECT_EQ(answer.status, 200) << answer.body;
}

TEST_F(GetTest, AnUnknownParameterIsRefused) {
  const HttpAnswer answer = get_sheet("?id=1");
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.detail(), "unknown parameter \"id\" in the address; expected request");
}

TEST_F(GetTest, AnUnknownParameterAfterTheRequestIsRefused) {
  const HttpAnswer answer = get_sheet("?request={}&id=1");
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.detail(), "unknown parameter \"id\" in the address; expected request");
}

TEST_F(GetTest, ASecondRequestIsRefused) {
  const HttpAnswer answer = get_sheet("?request={}&request={}");
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.detail(), "the parameter request is given twice in the address");
}

TEST_F(GetTest, MalformedPercentEncodingIsRefused) {
  for (const char* const request : {"%", "%2", "%zz", "{%2"}) {
    const HttpAnswer answer = get_sheet(std::string("?request=") + request);
    EXPECT_EQ(answer.status, 400) << request;
    EXPECT_THAT(answer.detail(), StartsWith("malformed percent-encoding in the address"));
  }
}

TEST_F(GetTest, MalformedPercentEncodingInThePathIsRefused) {
  const HttpAnswer answer = client().get("/v1/%zz/count");
  EXPECT_EQ(answer.status, 400);
  EXPECT_THAT(answer.detail(), StartsWith("malformed percent-encoding in the address"));
}

TEST_F(GetTest, IsNotServedForAnOperationThatWrites) {
  const HttpAnswer answer = client().get(path_of(project(), "create_sheet"));
  EXPECT_EQ(answer.status, 405);
  EXPECT_EQ(answer.fields.at("allow"), "POST");
  EXPECT_EQ(answer.detail(), "GET is not served here; expected POST");
  EXPECT_THAT(client().call(project(), "list_sheets").json().at("items"), IsEmpty());
}

TEST_F(GetTest, DoesNotOpenAProject) {
  const HttpAnswer answer =
      client().get(path_of(kManager, "open") + "?request=" + encoded(R"({"filename":"new.db"})"));
  EXPECT_EQ(answer.status, 405);
  EXPECT_EQ(answer.fields.at("allow"), "POST");
  EXPECT_FALSE(std::filesystem::exists(server().file("new.db")));
}

using HeadTest = RoutingTest;

TEST_F(HeadTest, HasTheHeaderOfGetAndNoBody) {
  auto connection = connect();
  connection.send(header("GET /openapi.json"));
  const HttpAnswer get = connection.read_answer();
  connection.send(header("HEAD /openapi.json", "Connection: close\r\n"));
  const std::string head = connection.read_all();
  EXPECT_THAT(head, StartsWith("HTTP/1.1 200 "));
  EXPECT_THAT(head, HasSubstr("Content-Length: " + std::to_string(get.body.size()) + "\r\n"));
  EXPECT_TRUE(head.ends_with("\r\n\r\n"));
  EXPECT_EQ(head.find("\r\n\r\n"), head.size() - 4);
}

TEST_F(HeadTest, OfAFailureHasNoBodyEither) {
  auto connection = connect();
  connection.send(header("HEAD /nowhere", "Connection: close\r\n"));
  const std::string head = connection.read_all();
  EXPECT_THAT(head, StartsWith("HTTP/1.1 404 "));
  EXPECT_TRUE(head.ends_with("\r\n\r\n"));
}

TEST_F(HeadTest, CallsWhatGetCalls) {
  EXPECT_EQ(client().send("HEAD", path_of(kProbe, "count")).status, 200);
  EXPECT_EQ(client().call(kProbe, "count").json().at("value_int32"), 2);
}

TEST_F(HeadTest, IsNotServedForAnOperationThatWrites) {
  EXPECT_EQ(client().send("HEAD", path_of(kProbe, "sleep")).status, 405);
}

using Methods = RoutingTest;

TEST_F(Methods, OthersThanGetHeadAndPostAreNotServed) {
  for (const char* const method : {"PUT", "DELETE", "OPTIONS", "PATCH", "TRACE", "get", "BREW"}) {
    const HttpAnswer answer = client().send(method, path_of(kProbe, "count"));
    EXPECT_EQ(answer.status, 405) << method;
    EXPECT_EQ(answer.fields.at("allow"), "GET, HEAD, POST");
    EXPECT_EQ(answer.detail(),
              std::string(method) + " is not served here; expected GET, HEAD, POST");
  }
}

TEST_F(Methods, WhatIsOnlyReadIsNotPosted) {
  for (const char* const path :
       {"/v1", "/openapi.json", "/schema/a.bond", "/metrics", "/healthz/live", "/healthz/ready"}) {
    const HttpAnswer answer = client().send("POST", path, "{}", {{"Content-Type", kJson}});
    EXPECT_EQ(answer.status, 405) << path;
    EXPECT_EQ(answer.fields.at("allow"), "GET, HEAD");
  }
}

using Paths = RoutingTest;

TEST_F(Paths, UnknownOnesAreNotFound) {
  for (const char* const path :
       {"/", "//", "/v2", "/v1/", "//v1", "/v1/probe:0", "/v1/probe:0/count/", "/V1", "/healthz",
        "/healthz/", "*", "/healthz/live/", "/openapi", "/metrics/", "/favicon.ico", "/..",
        "/v1/.."}) {
    const HttpAnswer answer = client().get(path);
    EXPECT_EQ(answer.status, 404) << path;
    EXPECT_EQ(answer.detail(), std::string("nothing is served at ") + path);
  }
}

TEST_F(Paths, AnUnknownServiceIsNotFound) {
  const HttpAnswer answer = client().call("korvane.model.cad.Project:7", "list_sheets");
  EXPECT_EQ(answer.status, 404);
  EXPECT_EQ(answer.detail(), "no service korvane.model.cad.Project:7");
}

TEST_F(Paths, AnUnknownOperationIsNotFound) {
  const HttpAnswer answer = client().call(kProbe, "Count");
  EXPECT_EQ(answer.status, 404);
  EXPECT_EQ(answer.detail(), "the service probe:0 has no operation Count");
}

TEST_F(Paths, MayBePercentEncoded) { EXPECT_EQ(client().call("probe%3A0", "co%75nt").status, 200); }

TEST_F(Paths, AnEncodedSlashIsNoSeparator) {
  EXPECT_EQ(client().get("/v1/probe:0%2Fcount").status, 404);
}

TEST_F(Paths, WithoutTheirSlashAreMalformed) {
  for (const char* const target :
       {"v1", "Xv1", "xv1/probe:0/count", "?x", "http", "http:/v1", "://v1"}) {
    auto connection = connect();
    connection.send(header(std::string("GET ") + target));
    EXPECT_EQ(connection.read_answer().status, 400) << target;
  }
}

TEST_F(Paths, MayBeWholeAddresses) {
  auto connection = connect();
  connection.send(header("GET http://localhost/v1/probe:0/count?request={}"));
  EXPECT_EQ(connection.read_answer().status, 200);
}

TEST_F(Paths, OfWholeAddressesAreThoseOfThisServer) {
  auto connection = connect();
  connection.send(header("GET http://elsewhere.example/v1"));
  EXPECT_EQ(connection.read_answer().status, 421);
}

using ServedDocuments = RoutingTest;

TEST_F(ServedDocuments, TheServicesAreListedWithTheirOperations) {
  const std::string project = server().open("project.db");
  const HttpAnswer answer = client().get("/v1");
  ASSERT_EQ(answer.status, 200);
  EXPECT_EQ(answer.fields.at("content-type"), kJson);
  const auto services = answer.json().at("services");
  ASSERT_EQ(services.size(), 18U);
  EXPECT_EQ(services[0].at("id"), kManager);
  EXPECT_EQ(services[0].at("service"), "korvane.model.cad.ProjectManager_Service");
  EXPECT_EQ(services[0].at("operations")[0],
            nlohmann::json({{"name", "open"},
                            {"path", path_of(kManager, "open")},
                            {"methods", {"POST"}},
                            {"effect", "opens"},
                            {"request", "korvane.model.OpenProjectRequest"},
                            {"reply", "korvane.model.OpenProjectResponse"}}));
  EXPECT_EQ(services[17].at("id"), project);
  EXPECT_EQ(services[17].at("operations").size(), 41U);
}

TEST_F(ServedDocuments, EveryListedPathIsServedByItsMethods) {
  server().open("project.db");
  const auto services = client().get("/v1").json().at("services");
  for (const auto& service : services) {
    for (const auto& operation : service.at("operations")) {
      const HttpAnswer answer = client().send("OPTIONS", operation.at("path"));
      std::string methods;
      for (const std::string method : operation.at("methods")) {
        methods += (methods.empty() ? "" : ", ") + method;
      }
      EXPECT_EQ(answer.fields.at("allow"), methods) << operation;
    }
  }
}

TEST_F(ServedDocuments, TheDescriptionOfTheInterfaceIsJson) {
  const HttpAnswer answer = client().get("/openapi.json");
  ASSERT_EQ(answer.status, 200);
  EXPECT_EQ(answer.fields.at("content-type"), kJson);
  EXPECT_EQ(answer.json().at("openapi"), "3.1.0");
  EXPECT_TRUE(answer.json().at("paths").contains(path_of(kManager, "open")));
}

TEST_F(ServedDocuments, HealthIsTold) {
  EXPECT_EQ(client().get("/healthz/live").status, 200);
  EXPECT_EQ(client().get("/healthz/ready").status, 200);
}

TEST_F(ServedDocuments, NothingIsToBeCachedOrGuessed) {
  for (const char* const path : {"/v1", "/nowhere"}) {
    const HttpAnswer answer = client().get(path);
    EXPECT_EQ(answer.fields.at("cache-control"), "no-store");
    EXPECT_EQ(answer.fields.at("x-content-type-options"), "nosniff");
  }
}

class MetricsTest : public RoutingTest {
 protected:
  std::string metrics() { return client().get("/metrics").body; }
};

TEST_F(MetricsTest, AreTextForPrometheus) {
  client().call(kProbe, "count");
  const HttpAnswer answer = client().get("/metrics");
  ASSERT_EQ(answer.status, 200);
  EXPECT_EQ(answer.fields.at("content-type"), "text/plain; version=0.0.4");
  EXPECT_THAT(answer.body, AllOf(HasSubstr("# TYPE korvane_connections gauge\n"),
                                 HasSubstr("# HELP korvane_requests_total ")));
}

TEST_F(MetricsTest, CountRequestsByOperationAndStatus) {
  client().call(kProbe, "count");
  client().call(kProbe, "count");
  client().call(kProbe, "fail", {{"value_string", "is not there"}, {"value_int32", 404}});
  const std::string text = metrics();
  EXPECT_EQ(metric(text,
                   "korvane_requests_total{operation=\"korvane.test.Probe_Service.count\","
                   "status=\"200\"}"),
            2);
  EXPECT_EQ(metric(text,
                   "korvane_requests_total{operation=\"korvane.test.Probe_Service.fail\","
                   "status=\"404\"}"),
            1);
}

TEST_F(MetricsTest, HaveNoSeriesOfAClientsOwnMaking) {
  client().get("/made-up");
  client().call("made-up", "count");
  client().call(kProbe, "made-up");
  EXPECT_THAT(metrics(), Not(HasSubstr("made-up")));
}

TEST_F(MetricsTest, CountRefusedConnections) {
  auto connection = connect();
  connection.send("no HTTP at all\r\n\r\n");
  connection.read_all();
  wait_until([&] {
    return metric(metrics(), "korvane_requests_total{operation=\"refused\",status=\"400\"}") == 1;
  });
}

TEST_F(MetricsTest, HaveAHistogramOfLatencies) {
  client().call(kProbe, "sleep", {{"value_int32", 30}});
  const std::string text = metrics();
  const std::string labels = "{operation=\"korvane.test.Probe_Service.sleep\"";
  EXPECT_EQ(metric(text, "korvane_request_seconds_count" + labels + "}"), 1);
  EXPECT_GE(metric(text, "korvane_request_seconds_sum" + labels + "}"), 0.03);
  EXPECT_EQ(metric(text, "korvane_request_seconds_bucket" + labels + ",le=\"0.025\"}"), 0);
  EXPECT_EQ(metric(text, "korvane_request_seconds_bucket" + labels + ",le=\"+Inf\"}"), 1);
}

TEST_F(MetricsTest, TellHowManyCallsWaitOrRun) {
  EXPECT_EQ(metric(metrics(), "korvane_queued_calls"), 0);
  BusyProject busy(server());
  wait_for_calls(1);
  busy.let_go();
  EXPECT_EQ(busy.answer().status, 200);
  EXPECT_EQ(metric(metrics(), "korvane_queued_calls"), 0);
}

TEST_F(MetricsTest, TellHowManyProjectsAreOpen) {
  EXPECT_EQ(metric(metrics(), "korvane_open_projects"), 0);
  server().open("a.db");
  server().open("b.db");
  server().open("a.db");
  EXPECT_EQ(metric(metrics(), "korvane_open_projects"), 2);
}

TEST_F(MetricsTest, TellHowManyConnectionsThereAre) {
  EXPECT_EQ(metric(metrics(), "korvane_connections"), 1);
  auto connection = connect();
  connection.send(header("GET /healthz/live"));
  connection.read_answer();
  EXPECT_EQ(metric(metrics(), "korvane_connections"), 2);
  connection.close();
  wait_until([&] { return metric(metrics(), "korvane_connections") == 1; });
}

TEST_F(MetricsTest, TellOfTheProcessAndWhatWasBuilt) {
  const std::string text = metrics();
  for (const char* const series : {"process_cpu_seconds_total", "process_resident_memory_bytes",
                                   "process_virtual_memory_bytes", "process_open_fds",
                                   "process_max_fds", "process_start_time_seconds"}) {
    EXPECT_GT(metric(text, series), 0) << series;
  }
  EXPECT_LT(metric(text, "process_open_fds"), metric(text, "process_max_fds"));
  EXPECT_THAT(text,
              testing::ContainsRegex("\nkorvane_build_info\\{.*version=\"[0-9.]+\".*\\} 1\n"));
}

TEST_F(MetricsTest, TellHowOldTheOldestCallIs) {
  EXPECT_EQ(metric(metrics(), "korvane_oldest_call_seconds"), 0);
  BusyProject busy(server());
  wait_for_calls(1);
  std::this_thread::sleep_for(60ms);
  EXPECT_GE(metric(metrics(), "korvane_oldest_call_seconds"), 0.05);
  busy.let_go();
  EXPECT_EQ(busy.answer().status, 200);
}

TEST_F(MetricsTest, TellWhatIsHeldForBodiesRecordsAndReplies) {
  const std::string text = metrics();
  for (const char* const kind : {"bodies", "records", "replies"}) {
    EXPECT_EQ(metric(text, std::string("korvane_held_bytes{for=\"") + kind + "\"}"), 0) << kind;
  }
  auto connection = connect();
  connection.send(call_header(kProbe, "count", content_length(50'000)) + std::string(40'000, ' '));
  wait_until([&] { return metric(metrics(), "korvane_held_bytes{for=\"bodies\"}") >= 40'000; });
  connection.close();
  wait_until([&] { return metric(metrics(), "korvane_held_bytes{for=\"bodies\"}") == 0; });
}

}  // namespace
}  // namespace korvane::test
