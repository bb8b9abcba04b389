#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "contracts/encoding/json.h"
#include "contracts/encoding/record_codec.h"
#include "tests/contracts/encoding/schema_check.h"
#include "tests/support/every_contract.h"
#include "tests/support/filled_record.h"
#include "tests/support/random_record.h"

namespace {

using korvane::encoding::add_json_schema;
using korvane::encoding::from_json;
using korvane::encoding::JsonSchemas;
using korvane::encoding::SchemaOf;
using korvane::encoding::to_json;
using Json = nlohmann::ordered_json;

constexpr std::uint32_t kSeeds = 40;

/// One record of a contract, and what becomes of it.
struct Sample {
  std::string json;
  /// Read from the text, written to bytes, read from them and written again.
  std::string json_through_bytes;
  bool has_same_bytes = false;
};

template <class T>
Sample sample_of(const T& record) {
  Sample sample;
  sample.json = to_json(record);
  const T read = from_json<T>(sample.json);
  const bond::blob bytes = korvane::encoding::encode(read);
  sample.has_same_bytes = bytes == korvane::encoding::encode(record);
  sample.json_through_bytes = to_json(korvane::encoding::decode<T>(bytes));
  return sample;
}

/// A contract, whatever its type.
struct Contract {
  std::string name;
  std::function<Sample()> at_defaults;
  std::function<Sample()> filled;
  std::function<Sample(std::uint32_t seed)> random;
  /// Reads a text and writes what was read.
  std::function<std::string(const std::string&)> rewrite;
  std::function<std::string(JsonSchemas&, SchemaOf)> add_schema;
};

template <class T>
Contract contract() {
  return {std::string(bond::type_name<T>()),
          [] { return sample_of(T{}); },
          [] { return sample_of(korvane::test::Filler().make<T>()); },
          [](std::uint32_t seed) { return sample_of(korvane::test::RandomFiller(seed).make<T>()); },
          [](const std::string& json) { return to_json(from_json<T>(json)); },
          add_json_schema<T>};
}

/// Every contract there is, the generic ones for each of their items.
const std::vector<Contract>& contracts() {
  static const std::vector<Contract> all = [] {
    std::vector<Contract> list;
    korvane::test::for_each_contract([&]<class T>() { list.push_back(contract<T>()); });
    return list;
  }();
  return all;
}

void expect_survival(const Sample& sample) {
  EXPECT_TRUE(sample.has_same_bytes) << sample.json;
  EXPECT_EQ(sample.json_through_bytes, sample.json);
}

TEST(JsonOfEveryContract, AtItsDefaultsSurvivesTheWayThroughBytes) {
  for (const Contract& each : contracts()) {
    SCOPED_TRACE(each.name);
    expect_survival(each.at_defaults());
  }
}

TEST(JsonOfEveryContract, WithEveryFieldSetSurvivesTheWayThroughBytes) {
  for (const Contract& each : contracts()) {
    SCOPED_TRACE(each.name);
    expect_survival(each.filled());
  }
}

TEST(JsonOfEveryContract, OfRandomContentSurvivesTheWayThroughBytes) {
  for (const Contract& each : contracts()) {
    for (std::uint32_t seed = 1; seed <= kSeeds; ++seed) {
      SCOPED_TRACE(each.name + ", seed " + std::to_string(seed));
      expect_survival(each.random(seed));
    }
  }
}

TEST(JsonOfEveryContract, ReadsItsDefaultsFromAnEmptyObject) {
  for (const Contract& each : contracts()) {
    EXPECT_EQ(each.rewrite("{}"), each.at_defaults().json) << each.name;
  }
}

std::size_t levels_of(const Json& json) {
  // A value of no parts iterates over itself.
  if (!json.is_structured()) return 0;
  std::size_t deepest = 0;
  for (const Json& element : json) deepest = std::max(deepest, levels_of(element));
  return deepest + 1;
}

TEST(JsonOfEveryContract, NestsFarLessDeepThanIsRead) {
  for (const Contract& each : contracts()) {
    EXPECT_LE(levels_of(Json::parse(each.filled().json)), 16U) << each.name;
  }
}

/// The schemas of all contracts together.
JsonSchemas all_components() {
  JsonSchemas schemas;
  for (const Contract& each : contracts()) each.add_schema(schemas, SchemaOf::reply);
  return schemas;
}

std::vector<std::string> keys(const Json& object) {
  std::vector<std::string> names;
  for (const auto& [name, value] : object.items()) names.push_back(name);
  return names;
}

void collect_references(const Json& json, std::set<std::string>& references) {
  if (json.is_object() && json.contains("$ref")) references.insert(json.at("$ref"));
  for (const Json& element : json) {
    if (element.is_structured()) collect_references(element, references);
  }
}

TEST(SchemaOfEveryContract, StandsUnderANameThatReferencesCanBear) {
  for (const Contract& each : contracts()) {
    JsonSchemas schemas;
    const std::string name = each.add_schema(schemas, SchemaOf::reply);
    EXPECT_EQ(schemas.count(name), 1U) << each.name;
    EXPECT_THAT(name, testing::MatchesRegex("[-A-Za-z0-9._]+"));
  }
}

TEST(SchemaOfEveryContract, BringsAllThatItRefersTo) {
  for (const Contract& each : contracts()) {
    JsonSchemas schemas;
    each.add_schema(schemas, SchemaOf::reply);
    std::set<std::string> references;
    for (const auto& [name, schema] : schemas) collect_references(schema, references);
    for (const std::string& reference : references) {
      EXPECT_NO_THROW(korvane::test::referenced(schemas, reference)) << each.name;
    }
  }
}

TEST(SchemaOfEveryContract, NamesTheFieldsThatAreWrittenInTheirOrder) {
  for (const Contract& each : contracts()) {
    JsonSchemas schemas;
    const std::string name = each.add_schema(schemas, SchemaOf::reply);
    const Json& schema = schemas.at(name);
    EXPECT_EQ(keys(schema.at("properties")), keys(Json::parse(each.at_defaults().json)))
        << each.name;
    EXPECT_EQ(schema.at("additionalProperties"), false) << each.name;
  }
}

TEST(SchemaOfEveryContract, StatesOfARequestTheDefaultsThatAreWritten) {
  for (const Contract& each : contracts()) {
    JsonSchemas schemas;
    const Json& schema = schemas.at(each.add_schema(schemas, SchemaOf::request));
    const Json defaults = Json::parse(each.at_defaults().json);
    EXPECT_FALSE(schema.contains("required")) << each.name;
    for (const auto& [field, property] : schema.at("properties").items()) {
      const bool is_struct = defaults.at(field).is_object() && property.contains("$ref");
      const std::string stated = "Default: " + defaults.at(field).dump() + ".";
      EXPECT_EQ(property.value("description", "").ends_with(stated), !is_struct)
          << each.name << "." << field;
      EXPECT_FALSE(property.contains("default")) << each.name << "." << field;
    }
  }
}

TEST(SchemaOfEveryContract, RequiresOfAReplyAllFields) {
  for (const Contract& each : contracts()) {
    JsonSchemas schemas;
    const Json& schema = schemas.at(each.add_schema(schemas, SchemaOf::reply));
    EXPECT_EQ(schema.value("required", std::vector<std::string>()), keys(schema.at("properties")))
        << each.name;
  }
}

TEST(SchemaOfEveryContract, OfARequestTakesAnyPartOfWhatIsWritten) {
  for (const Contract& each : contracts()) {
    JsonSchemas schemas;
    const Json schema = schemas.at(each.add_schema(schemas, SchemaOf::request));
    const Json filled = Json::parse(each.filled().json);
    EXPECT_EQ(korvane::test::offence(Json::object(), schema, schemas), "") << each.name;
    EXPECT_EQ(korvane::test::offence(filled, schema, schemas), "") << each.name;
    for (const auto& [field, value] : filled.items()) {
      EXPECT_EQ(korvane::test::offence({{field, value}}, schema, schemas), "") << each.name;
    }
  }
}

TEST(SchemaOfEveryContract, IsMetByWhatIsWritten) {
  const JsonSchemas components = all_components();
  for (const Contract& each : contracts()) {
    JsonSchemas own;
    const Json& schema = components.at(each.add_schema(own, SchemaOf::reply));
    const auto offence_of = [&](const Sample& sample) {
      return korvane::test::offence(Json::parse(sample.json), schema, components);
    };
    EXPECT_EQ(offence_of(each.at_defaults()), "") << each.name;
    EXPECT_EQ(offence_of(each.filled()), "") << each.name;
    for (std::uint32_t seed = 1; seed <= kSeeds; ++seed) {
      EXPECT_EQ(offence_of(each.random(seed)), "") << each.name << ", seed " << seed;
    }
  }
}

}  // namespace
