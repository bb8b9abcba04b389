#include "host/service/openapi.h"

#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "host/service/call_room.h"
#include "host/service/routes.h"
#include "host/service/target.h"

namespace korvane::test {
namespace {

using host::Callees;
using host::Edition;
using host::MountedRoute;
using host::MountedSchema;
using krv::rpc4::Effect;
using nlohmann::json;
using ::testing::Contains;
using ::testing::Not;

constexpr const char* kJsonType = "application/json";
constexpr const char* kBinary = "application/x-bond-compact-binary";

json document(Edition edition = Edition::whole, const std::vector<MountedRoute>& mounted = {}) {
  return json::parse(host::openapi_document({{&host::project_definition(), Callees::project_files}},
                                            mounted, edition));
}

json path(const json& document, const std::string& operation) {
  return document.at("paths").at("/v1/projects/{file}/" + operation);
}

MountedRoute count_route() {
  MountedRoute route;
  route.operation = host::mounted_operation("count", Effect::reads);
  route.summary = "Count the lines";
  route.text = "Counts the lines of a kind. Those that were removed count too.";
  route.parameters = {{"limit", "How many at most", {}, false, true},
                      {"all", "Whether to count all", host::on_or_off()}};
  route.reply_types = {"text/csv", kJsonType};
  route.reply_schemas = {
      {"Counts", R"({"type":"array","items":{"$ref":"#/components/schemas/Count"}})"},
      {"Count", R"({"type":"integer"})"}};
  return route;
}

MountedRoute set_route() {
  MountedRoute route;
  route.operation = host::mounted_operation("set", Effect::writes);
  route.text = "Sets the count. It is not checked.";
  route.request_types = {"text/plain", kJsonType, "application/pdf"};
  route.reply_types = {kJsonType};
  route.request_schemas = {{"Count", R"({"type":"integer"})"}};
  return route;
}

TEST(OpenApi, HasEveryFormOfABodyOrJsonAlone) {
  const json whole = path(document(), "get_sheet").at("post");
  EXPECT_TRUE(whole.at("requestBody").at("content").contains(kBinary));
  EXPECT_TRUE(whole.at("responses").at("200").at("content").contains(kBinary));
  const json alone = path(document(Edition::json), "get_sheet").at("post");
  EXPECT_EQ(alone.at("requestBody").at("content"), json::parse(R"({"application/json":{"schema":
                {"$ref":"#/components/schemas/korvane.model.cad.SheetRef-Input"}}})"));
  EXPECT_EQ(alone.at("responses").at("200").at("content"),
            json::parse(R"({"application/json":{"schema":
                {"$ref":"#/components/schemas/korvane.model.cad.Sheet"}}})"));
}

TEST(OpenApi, LeavesOutWhatIsNotForClientsOfProjects) {
  const json paths = document().at("paths");
  for (const char* const described : {"/v1/access", "/v1/projects"}) {
    EXPECT_TRUE(paths.contains(described)) << described;
  }
  for (const char* const left_out : {"/healthz/live", "/healthz/ready", "/metrics", "/openapi.json",
                                     "/schema/{file}", "/v1", "/v1/locks/{file}"}) {
    EXPECT_NO_THROW(host::find_route(host::Target(left_out)));
    EXPECT_FALSE(paths.contains(left_out)) << left_out;
  }
}

TEST(OpenApi, TakesARequestOfSingleValuesFieldByField) {
  const json parameter = path(document(), "get_sheet").at("get").at("parameters").at(0);
  EXPECT_EQ(parameter.at("name"), "request");
  EXPECT_EQ(parameter.at("style"), "deepObject");
  EXPECT_EQ(parameter.at("explode"), true);
  EXPECT_EQ(parameter.at("schema").at("$ref"),
            "#/components/schemas/korvane.model.cad.SheetRef-Input");
  EXPECT_FALSE(parameter.contains("content"));
}

TEST(OpenApi, TakesARequestWithPartsAsJson) {
  const json parameter = path(document(), "query_table").at("get").at("parameters").at(0);
  EXPECT_FALSE(parameter.contains("style"));
  EXPECT_EQ(parameter.at("content").at(kJsonType).at("schema").at("$ref"),
            "#/components/schemas/korvane.model.table.GET_TABLE-Input");
}

TEST(OpenApi, SaysWhichFieldsOfTheHeaderARepliesHas) {
  const json all = document();
  const json get = path(all, "get_sheet").at("get").at("responses");
  EXPECT_EQ(get.at("200").at("headers").at("Korvane-Run").at("$ref"),
            "#/components/headers/Korvane-Run");
  EXPECT_TRUE(get.at("200").at("headers").contains("ETag"));
  EXPECT_TRUE(get.contains("304"));
  const json post = path(all, "get_sheet").at("post").at("responses");
  EXPECT_FALSE(post.at("200").at("headers").contains("ETag"));
  EXPECT_FALSE(post.contains("304"));
  const json query = path(all, "query_table").at("get").at("responses");
  EXPECT_TRUE(query.at("200").at("headers").contains("Korvane-Truncated"));
  EXPECT_TRUE(
      all.at("components").at("responses").at("Problem").at("headers").contains("Retry-After"));
}

TEST(OpenApi, SumsUpEveryOperationAndSaysWhoMayCallIt) {
  const json get = path(document(), "list_sheets").at("get");
  EXPECT_EQ(get.at("summary"), "List all sheets");
  EXPECT_EQ(get.at("description"), "List all sheets.\n\nChanges nothing. Needs the scope `read`.");
}

TEST(OpenApi, HasMountedRoutesWithTheirSchemas) {
  const json all = document(Edition::whole, {count_route(), set_route()});
  const json get = path(all, "count").at("get");
  EXPECT_EQ(get.at("summary"), "Count the lines");
  const json content = get.at("responses").at("200").at("content");
  EXPECT_EQ(content.at(kJsonType).at("schema").at("$ref"), "#/components/schemas/Counts");
  EXPECT_EQ(content.at("text/csv").at("schema"), json::parse(R"({"type":"string"})"));
  const json body = path(all, "set").at("post").at("requestBody").at("content");
  EXPECT_EQ(body.at(kJsonType).at("schema").at("$ref"), "#/components/schemas/Count");
  EXPECT_EQ(body.at("application/pdf").at("schema"),
            json::parse(R"({"type":"string","format":"binary"})"));
  EXPECT_EQ(all.at("components").at("schemas").at("Count"), json::parse(R"({"type":"integer"})"));
}

TEST(OpenApi, SumsUpAMountedRouteByItsFirstSentenceWhereNobodyElseDid) {
  EXPECT_EQ(path(document(Edition::whole, {set_route()}), "set").at("post").at("summary"),
            "Sets the count");
}

TEST(OpenApi, OfJsonAloneHasNoOtherReplyOfAMountedRouteButAllThatItTakes) {
  const json all = document(Edition::json, {count_route(), set_route()});
  EXPECT_EQ(path(all, "count").at("get").at("responses").at("200").at("content").size(), 1U);
  EXPECT_EQ(path(all, "set").at("post").at("requestBody").at("content").size(), 3U);
}

TEST(OpenApi, HasTheTypesOfParameters) {
  const json parameters =
      path(document(Edition::whole, {count_route()}), "count").at("get").at("parameters");
  EXPECT_EQ(parameters.at(0).at("schema"), json::parse(R"({"type":"integer"})"));
  EXPECT_EQ(parameters.at(1).at("schema"), json::parse(R"({"type":"boolean"})"));
  EXPECT_EQ(parameters.at(1).at("description"), "Whether to count all. Default: false.");
}

TEST(OpenApi, TakesIfMatchWhereARouteGoesByIt) {
  const json if_match = {{"$ref", "#/components/parameters/seen"}};
  MountedRoute route = set_route();
  const auto parameters = [&] {
    return path(document(Edition::whole, {route}), "set").at("post").at("parameters");
  };
  EXPECT_THAT(parameters(), Not(Contains(if_match)));
  route.goes_by_if_match = true;
  EXPECT_THAT(parameters(), Contains(if_match));
}

json schema_of(const json& document, const std::string& name) {
  return document.at("components").at("schemas").at(name);
}

TEST(OpenApi, Of30SaysByNullableWhatMayBeNull) {
  const json bar = schema_of(document(Edition::json_3_0), "korvane.model.cad.Rebar");
  const json hook = bar.at("properties").at("start_hook");
  EXPECT_EQ(hook.at("nullable"), true);
  EXPECT_EQ(hook.at("type"), "object");
  EXPECT_EQ(schema_of(document(Edition::json_3_0), "korvane.model.cad.Hook").at("nullable"), true);
  const json state = bar.at("properties").at("diff_state");
  EXPECT_EQ(state.at("type"), "string");
  EXPECT_FALSE(state.contains("enum"));
  EXPECT_FALSE(state.contains("allOf"));
  EXPECT_THAT(state.at("description"), ::testing::HasSubstr("`kRemoved`"));
  EXPECT_EQ(hook.at("allOf"),
            json::parse(R"([{"$ref":"#/components/schemas/korvane.model.cad.Hook"}])"));
  EXPECT_TRUE(hook.contains("description"));
}

TEST(OpenApi, Of30HasTheNamesOfAnEnumerationAlone) {
  const json direction = schema_of(document(Edition::json_3_0), "korvane.model.cad.HookDirection");
  EXPECT_EQ(direction.at("type"), "string");
  EXPECT_THAT(direction.at("enum"), Contains("kRight"));
  EXPECT_FALSE(direction.contains("anyOf"));
}

TEST(OpenApi, Of30HasBase64AsAFormatAndOneSchemaForAllItems) {
  MountedRoute route = set_route();
  route.request_schemas = {
      {"Count", R"({"type":"array","prefixItems":[{"type":"number"}],"items":{"type":"number"}})"}};
  const json all = document(Edition::json_3_0, {route});
  EXPECT_EQ(schema_of(all, "Count"), json::parse(R"({"type":"array","items":{"type":"number"}})"));
  const json bytes = schema_of(all, "korvane.Variant").at("properties").at("value_blob");
  EXPECT_EQ(bytes.at("format"), "byte");
  EXPECT_FALSE(bytes.contains("contentEncoding"));
}

TEST(OpenApi, Of30HasNoTypeForAValueOfSeveral) {
  MountedRoute route = set_route();
  route.request_schemas = {{"Count", R"({"type":["integer","string","null"]})"}};
  const json all = document(Edition::json_3_0, {route});
  EXPECT_EQ(schema_of(all, "Count"), json::object());
  route.request_schemas = {{"Count", R"({"type":["integer","null"]})"}};
  EXPECT_EQ(schema_of(document(Edition::json_3_0, {route}), "Count"),
            json::parse(R"({"nullable":true,"type":"integer"})"));
}

TEST(OpenApi, HasTheExamplesOfItsOperations) {
  const std::string examples = R"({
    "get_sheet": {"body": {"id": 1}, "reply": {"name": "417"}},
    "count": {"query": {"limit": 7}, "reply": [1]}, "set": {"text": "7"}, "other": {"body": {}}})";
  const json all =
      json::parse(host::openapi_document({{&host::project_definition(), Callees::project_files}},
                                         {count_route(), set_route()}, Edition::whole, examples));
  const json post = path(all, "get_sheet").at("post");
  EXPECT_EQ(post.at("requestBody").at("content").at(kJsonType).at("examples").at("example"),
            json::parse(R"({"$ref":"#/components/examples/get_sheet.request"})"));
  EXPECT_EQ(all.at("components").at("examples"),
            json::parse(R"({"get_sheet.request": {"value": {"id": 1}},
                            "get_sheet.reply": {"value": {"name": "417"}},
                            "count.reply": {"value": [1]}, "set.text": {"value": "7"}})"));
  EXPECT_EQ(path(all, "get_sheet").at("get").at("parameters").at(0).at("example"),
            json::parse(R"({"id":1})"));
  EXPECT_EQ(path(all, "count").at("get").at("parameters").at(0).at("example"), 7);
  EXPECT_FALSE(path(all, "count").at("get").at("parameters").at(1).contains("example"));
}

TEST(OpenApi, RefusesTwoSchemasOfOneName) {
  MountedRoute other = set_route();
  other.request_schemas = {{"Count", R"({"type":"string"})"}};
  EXPECT_THROW(document(Edition::whole, {count_route(), other}), std::logic_error);
  other.request_schemas = {{"korvane.model.cad.Sheet", R"({"type":"string"})"}};
  EXPECT_THROW(document(Edition::whole, {other}), std::logic_error);
  other.request_schemas = {{"Problem", R"({"type":"string"})"}};
  EXPECT_THROW(document(Edition::whole, {other}), std::logic_error);
}

}  // namespace
}  // namespace korvane::test
