#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "contracts/cad/contracts.h"
#include "contracts/common/contracts.h"
#include "contracts/encoding/json.h"
#include "contracts/geometry/contracts.h"
#include "platform/project_rpc/contracts.h"
#include "tests/contracts/encoding/schema_check.h"

namespace {

namespace cad = korvane::model::cad;
using korvane::encoding::add_json_schema;
using korvane::encoding::JsonSchemas;
using korvane::encoding::SchemaOf;
using testing::ElementsAre;
using testing::Key;
using Json = nlohmann::ordered_json;

template <class T>
Json schema_of(SchemaOf of = SchemaOf::reply) {
  JsonSchemas schemas;
  const std::string name = add_json_schema<T>(schemas, of);
  return schemas.at(name);
}

/// What the schema of `T` says of one field, without its description.
template <class T>
Json property_of(const std::string& field) {
  Json property = schema_of<T>().at("properties").at(field);
  property.erase("description");
  return property;
}

template <class T>
std::string description_of(const std::string& field, SchemaOf of = SchemaOf::request) {
  return schema_of<T>(of).at("properties").at(field).at("description");
}

TEST(JsonSchema, DescribesAStructWithItsFieldsInOrder) {
  JsonSchemas schemas;
  EXPECT_EQ(add_json_schema<korvane::RGBA_Color>(schemas, SchemaOf::reply), "korvane.RGBA_Color");
  EXPECT_THAT(schemas, ElementsAre(Key("korvane.RGBA_Color")));
  EXPECT_EQ(schemas.at("korvane.RGBA_Color").dump(), R"({"type":"object","properties":{)"
                                                     R"("r":{"type":"number","format":"double"},)"
                                                     R"("g":{"type":"number","format":"double"},)"
                                                     R"("b":{"type":"number","format":"double"},)"
                                                     R"("a":{"type":"number","format":"double"}},)"
                                                     R"("additionalProperties":false})");
}

TEST(JsonSchema, DescribesAStructWithoutFields) {
  EXPECT_EQ(schema_of<korvane::Empty>(),
            Json::parse(R"({"type":"object","properties":{},"additionalProperties":false})"));
}

TEST(JsonSchema, DescribesAnIntegerWithItsRange) {
  EXPECT_EQ(property_of<cad::Sheet>("id"),
            Json::parse(R"({"type":"integer","format":"int32","minimum":-2147483648,
                            "maximum":2147483647,"default":-1})"));
}

TEST(JsonSchema, DescribesTextAndBooleans) {
  EXPECT_EQ(property_of<cad::Sheet>("uid"), Json::parse(R"({"type":"string"})"));
  EXPECT_EQ(property_of<cad::EndTreatment>("draw_pointer"), Json::parse(R"({"type":"boolean"})"));
}

TEST(JsonSchema, DescribesWhatCanBeUnset) {
  EXPECT_EQ(property_of<cad::RebarParams>("a"),
            Json::parse(R"({"anyOf":[{"type":"number","format":"double"},{"type":"null"}]})"));
  EXPECT_EQ(property_of<cad::SheetRef>("uid"),
            Json::parse(R"({"anyOf":[{"type":"string"},{"type":"null"}]})"));
  EXPECT_EQ(property_of<cad::Rebar>("start_hook"),
            Json::parse(R"({"anyOf":[{"$ref":"#/components/schemas/korvane.model.cad.Hook"},
                            {"type":"null"}]})"));
}

TEST(JsonSchema, DescribesABlob) {
  EXPECT_EQ(
      property_of<korvane::Variant>("value_blob"),
      Json::parse(R"({"anyOf":[{"type":"string","contentEncoding":"base64"},{"type":"null"}]})"));
}

TEST(JsonSchema, DescribesListsAndMaps) {
  EXPECT_EQ(property_of<korvane::model::table::TABLE>("rows"),
            Json::parse(R"({"type":"array","items":{"type":"array",
                            "items":{"$ref":"#/components/schemas/korvane.Variant"}}})"));
  EXPECT_EQ(property_of<cad::Sheet>("properties"), Json::parse(R"({"type":"object",
                            "additionalProperties":{"$ref":"#/components/schemas/korvane.Variant"}})"));
}

TEST(JsonSchema, DescribesAnEnumerationOnceByNamesAndNumbers) {
  JsonSchemas schemas;
  EXPECT_EQ(add_json_schema<cad::Hook>(schemas, SchemaOf::reply), "korvane.model.cad.Hook");
  EXPECT_THAT(schemas,
              ElementsAre(Key("korvane.model.cad.Hook"), Key("korvane.model.cad.HookDirection")));
  EXPECT_EQ(schemas.at("korvane.model.cad.HookDirection").dump(),
            R"({"anyOf":[{"type":"string","enum":["kLeft","kRight"]},)"
            R"({"type":"integer","format":"int32",)"
            R"("minimum":-2147483648,"maximum":2147483647}]})");
  EXPECT_EQ(property_of<cad::Hook>("direction"),
            Json::parse(R"({"$ref":"#/components/schemas/korvane.model.cad.HookDirection"})"));
}

TEST(JsonSchema, StatesNoDefaultOfAStruct) {
  EXPECT_EQ(property_of<cad::Rebar>("geometry"),
            Json::parse(R"({"$ref":"#/components/schemas/korvane.model.cad.RebarGeometry"})"));
}

TEST(JsonSchema, NamesAGenericStructAfterItsItem) {
  JsonSchemas schemas;
  EXPECT_EQ(add_json_schema<korvane::Batch<cad::Rebar>>(schemas, SchemaOf::reply),
            "korvane.Batch_korvane.model.cad.Rebar");
  EXPECT_EQ(schemas.count("korvane.model.cad.Rebar"), 1U);
  EXPECT_EQ(add_json_schema<korvane::OptionalValue<cad::Sheet>>(schemas, SchemaOf::reply),
            "korvane.OptionalValue_korvane.model.cad.Sheet");
}

TEST(JsonSchema, AddsNothingTwice) {
  JsonSchemas schemas;
  add_json_schema<cad::Rebars>(schemas, SchemaOf::reply);
  const JsonSchemas once = schemas;
  EXPECT_EQ(add_json_schema<cad::Rebars>(schemas, SchemaOf::reply), "korvane.model.cad.Rebars");
  EXPECT_EQ(schemas, once);
}

TEST(JsonSchema, IsNotMetByWhatIsNotRead) {
  JsonSchemas schemas;
  const std::string name = add_json_schema<korvane::Batch<cad::Rebar>>(schemas, SchemaOf::reply);
  const auto offence_of = [&](const std::string& rebar) {
    return korvane::test::offence(Json::parse(R"({"items":[{},)" + rebar + "]}"), schemas.at(name),
                                  schemas);
  };
  EXPECT_EQ(offence_of("{}"), "");
  EXPECT_EQ(offence_of("null"), R"($.items[] is no "object")");
  EXPECT_EQ(offence_of(R"({"zz":1})"), R"($.items[] is not to have "zz")");
  EXPECT_EQ(offence_of(R"({"id":"3"})"), R"($.items[].id is no "integer")");
  EXPECT_EQ(offence_of(R"({"id":2147483648})"), "$.items[].id is above 2147483647");
  EXPECT_EQ(offence_of(R"({"id":-2147483649})"), "$.items[].id is below -2147483648");
  EXPECT_EQ(offence_of(R"({"properties":{"a":3}})"), R"($.items[].properties.a is no "object")");
  EXPECT_THAT(offence_of(R"({"parameters_exact":{"a":"1"}})"),
              testing::StartsWith("$.items[].parameters_exact.a is none of"));
  EXPECT_THAT(offence_of(R"({"geometry":{"objects":[{"type":"zz"}]}})"),
              testing::StartsWith("$.items[].geometry.objects[].type is none of"));
}

}  // namespace
