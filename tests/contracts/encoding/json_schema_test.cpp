#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "contracts/cad/contracts.describe.h"
#include "contracts/common/contracts.describe.h"
#include "contracts/encoding/field_form.h"
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
  EXPECT_EQ(schemas.at("korvane.RGBA_Color").dump(),
            R"({"type":"object","required":["r","g","b","a"],"properties":{)"
            R"("r":{"type":"number","format":"double"},)"
            R"("g":{"type":"number","format":"double"},)"
            R"("b":{"type":"number","format":"double"},)"
            R"("a":{"type":"number","format":"double"}},)"
            R"("additionalProperties":false})");
}

TEST(JsonSchema, OfARequestRequiresNothingAndHasItsOwnName) {
  JsonSchemas schemas;
  EXPECT_EQ(add_json_schema<cad::GeometryObject>(schemas, SchemaOf::request),
            "korvane.model.cad.GeometryObject-Input");
  EXPECT_THAT(schemas, ElementsAre(Key("korvane.model.cad.GeometryLabel-Input"),
                                   Key("korvane.model.cad.GeometryLabelType"),
                                   Key("korvane.model.cad.GeometryObject-Input"),
                                   Key("korvane.model.cad.GeometryObjectType")));
  const Json& schema = schemas.at("korvane.model.cad.GeometryObject-Input");
  EXPECT_FALSE(schema.contains("required"));
  EXPECT_EQ(schema.at("properties").at("labels").at("items").at("$ref"),
            "#/components/schemas/korvane.model.cad.GeometryLabel-Input");
}

TEST(JsonSchema, SaysWhatAFieldMeansWithItsUnitAndDefault) {
  EXPECT_EQ(description_of<cad::Rebar>("bar_diameter", SchemaOf::reply),
            "Nominal diameter of the bar. Unit: mm.");
  EXPECT_EQ(description_of<cad::Rebar>("bar_diameter"),
            "Nominal diameter of the bar. Unit: mm. Default: 0.");
  EXPECT_EQ(description_of<cad::Rebar>("mark"),
            "The number or letter that names the line on the drawing. Default: \"\".");
  EXPECT_EQ(description_of<cad::Rebar>("start_hook"), "The hook at the start. Default: null.");
  EXPECT_EQ(description_of<cad::Rebar>("parameters_exact"),
            "The dimensions of the shape as computed.");
  EXPECT_EQ(description_of<cad::SheetRef>("error"),
            "Never set: what fails is answered with a problem document. Default: null.");
  EXPECT_EQ(schema_of<cad::Rebar>().at("description"),
            "A line of the schedule: one bar mark. All its pieces are alike.");
}

TEST(JsonSchema, StatesADefaultAloneWhereNobodyHasToldTheMeaning) {
  EXPECT_EQ(description_of<korvane::RGBA_Color>("r"), "Default: 1.");
}

TEST(JsonSchema, DescribesAStructWithoutFields) {
  EXPECT_EQ(schema_of<korvane::Empty>(),
            Json::parse(R"({"type":"object","properties":{},"additionalProperties":false})"));
}

TEST(JsonSchema, DescribesAnIntegerWithItsRange) {
  EXPECT_EQ(property_of<cad::Sheet>("id"),
            Json::parse(R"({"type":"integer","format":"int32","minimum":-2147483648,
                            "maximum":2147483647})"));
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
            R"("minimum":-2147483648,"maximum":2147483647}],)"
            R"("description":"Sides of a bar, as one goes along it. `kLeft`: left. )"
            R"(`kRight`: right."})");
  EXPECT_EQ(property_of<cad::Hook>("direction"),
            Json::parse(R"({"$ref":"#/components/schemas/korvane.model.cad.HookDirection"})"));
}

TEST(JsonSchema, RefersToAStruct) {
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
  const std::string name = add_json_schema<korvane::Batch<cad::Rebar>>(schemas, SchemaOf::request);
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

TEST(FieldForms, SayWhatAFieldTakesAsBareText) {
  using korvane::encoding::FieldForm;
  using korvane::encoding::form_of_field;
  EXPECT_EQ(form_of_field<cad::SheetRef>("id"), FieldForm::scalar);
  EXPECT_EQ(form_of_field<cad::SheetRef>("uid"), FieldForm::text);
  EXPECT_EQ(form_of_field<cad::SheetRef>("error"), FieldForm::text);
  EXPECT_EQ(form_of_field<cad::SheetRef>("name"), FieldForm::none);
  EXPECT_EQ(form_of_field<cad::Hook>("direction"), FieldForm::scalar);
  EXPECT_EQ(form_of_field<cad::Hook>("angle"), FieldForm::scalar);
  EXPECT_EQ(form_of_field<cad::EndTreatment>("draw_pointer"), FieldForm::scalar);
  EXPECT_EQ(form_of_field<korvane::Variant>("value_blob"), FieldForm::text);
  EXPECT_EQ(form_of_field<cad::Rebar>("geometry"), FieldForm::composite);
  EXPECT_EQ(form_of_field<cad::Rebar>("start_hook"), FieldForm::composite);
  EXPECT_EQ(form_of_field<cad::Rebars>("rebars"), FieldForm::composite);
  EXPECT_EQ(form_of_field<cad::Sheet>("properties"), FieldForm::composite);
}

}  // namespace
