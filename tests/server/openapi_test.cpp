// The document of a whole server, in all editions.

#include <functional>
#include <set>
#include <string>

#include "server/project_routes.h"
#include "tests/host/support/server_suite.h"

namespace korvane::test {
namespace {

using nlohmann::json;
using ::testing::IsEmpty;

class ServedOpenApi : public ::testing::TestWithParam<std::string> {
 protected:
  json document() { return client_.get("/openapi.json" + GetParam()).json(); }

  TestServer server_{{}, std::nullopt, {}, server::project_routes()};
  HttpClient client_ = server_.client();
};

void for_each_part(const json& value, const std::function<void(const json&)>& visit) {
  visit(value);
  if (!value.is_structured()) return;
  for (const json& part : value) for_each_part(part, visit);
}

TEST_P(ServedOpenApi, RefersToNothingThatItLacks) {
  const json all = document();
  for_each_part(all, [&](const json& part) {
    if (!part.is_object() || !part.contains("$ref")) return;
    const std::string target = part.at("$ref");
    ASSERT_EQ(target.substr(0, 2), "#/");
    EXPECT_TRUE(all.contains(json::json_pointer(target.substr(1)))) << target;
  });
}

TEST_P(ServedOpenApi, HasNoSchemaThatNothingRefersTo) {
  const json all = document();
  std::set<std::string> used;
  for_each_part(all, [&](const json& part) {
    if (part.is_object() && part.contains("$ref")) used.insert(part.at("$ref"));
  });
  for (const auto& [name, schema] : all.at("components").at("schemas").items()) {
    EXPECT_TRUE(used.contains("#/components/schemas/" + name)) << name;
  }
}

TEST_P(ServedOpenApi, SumsUpAndDescribesEveryOperation) {
  const json all = document();
  for (const auto& [path, item] : all.at("paths").items()) {
    for (const char* const method : {"get", "post"}) {
      if (!item.contains(method)) continue;
      const std::string summary = item.at(method).at("summary");
      EXPECT_FALSE(summary.empty()) << path;
      EXPECT_NE(summary.back(), '.') << path;
      EXPECT_LE(summary.size(), 90U) << path;
      EXPECT_FALSE(item.at(method).at("description").get<std::string>().empty()) << path;
    }
  }
}

TEST_P(ServedOpenApi, DescribesEverySchemaOfAContractAndEveryFieldOfIt) {
  std::vector<std::string> silent;
  const json all = document();
  for (const auto& [name, schema] : all.at("components").at("schemas").items()) {
    if (!name.starts_with("korvane.")) continue;
    if (!schema.contains("description")) silent.push_back(name);
    if (!schema.contains("properties")) continue;
    for (const auto& [field, property] : schema.at("properties").items()) {
      const std::string text = property.value("description", "");
      if (text.empty() || text.starts_with("Default:")) silent.push_back(name + "." + field);
    }
  }
  EXPECT_THAT(silent, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Editions, ServedOpenApi,
                         ::testing::Values("", "?media=json", "?edition=3.0"),
                         [](const auto& edition) {
                           if (edition.param.empty()) return std::string("Whole");
                           return std::string(edition.param == "?media=json" ? "Json" : "Of30");
                         });

/// Says what a schema of the document has that OpenAPI 3.0 does not.
std::string newer_than_3_0(const json& part) {
  if (!part.is_object()) return {};
  if (part.contains("type") && part.at("type").is_array()) return "several types";
  if (part.value("type", json()) == "null") return "the type null";
  if (part.contains("prefixItems")) return "prefixItems";
  if (part.contains("contentEncoding")) return "contentEncoding";
  if (part.contains("$ref") && part.size() > 1) return "a member beside $ref";
  return {};
}

TEST(ServedEditions, OfOpenApi30HasNothingThatIsNewer) {
  TestServer server({}, std::nullopt, {}, server::project_routes());
  HttpClient client = server.client();
  const json older = client.get("/openapi.json?edition=3.0").json();
  EXPECT_EQ(older.at("openapi"), "3.0.3");
  for_each_part(older.at("components").at("schemas"),
                [](const json& schema) { EXPECT_EQ(newer_than_3_0(schema), "") << schema.dump(); });
  for_each_part(older.at("paths"),
                [](const json& part) { EXPECT_EQ(newer_than_3_0(part), "") << part.dump(); });
  EXPECT_EQ(client.get("/openapi.json?edition=3.1").body, client.get("/openapi.json").body);
}

TEST(ServedEditions, AreThoseThatThereAre) {
  TestServer server;
  HttpClient client = server.client();
  EXPECT_EQ(client.get("/openapi.json?media=xml").detail(),
            "the parameter media is \"xml\"; expected json");
  EXPECT_EQ(client.get("/openapi.json?edition=json").detail(),
            "the parameter edition is \"json\"; expected 3.0 or 3.1");
  EXPECT_EQ(client.get("/openapi.json").body.find("\"application/json\"") != std::string::npos,
            true);
  const std::string binary = "application/x-bond-compact-binary";
  EXPECT_NE(client.get("/openapi.json").body.find(binary), std::string::npos);
  EXPECT_EQ(client.get("/openapi.json?media=json").body.find(binary), std::string::npos);
  EXPECT_EQ(client.get("/openapi.json?edition=3.0").body.find(binary), std::string::npos);
}

}  // namespace
}  // namespace korvane::test
