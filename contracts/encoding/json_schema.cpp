#include "contracts/encoding/json_schema.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace korvane::encoding::detail {

using Json = JsonSchemaMaker::Json;

std::string JsonSchemaMaker::component_name(std::string_view type_name) {
  std::string name(type_name);
  std::replace(name.begin(), name.end(), '<', '_');
  std::erase(name, '>');
  return name;
}

Json JsonSchemaMaker::reference(const std::string& component) {
  return {{"$ref", "#/components/schemas/" + component}};
}

Json JsonSchemaMaker::bool_schema() { return {{"type", "boolean"}}; }

Json JsonSchemaMaker::int32_schema() {
  using Limits = std::numeric_limits<std::int32_t>;
  return {{"type", "integer"},
          {"format", "int32"},
          {"minimum", Limits::min()},
          {"maximum", Limits::max()}};
}

Json JsonSchemaMaker::double_schema() { return {{"type", "number"}, {"format", "double"}}; }

Json JsonSchemaMaker::text_schema() { return {{"type", "string"}}; }

Json JsonSchemaMaker::blob_schema() { return {{"type", "string"}, {"contentEncoding", "base64"}}; }

Json JsonSchemaMaker::enumeration_schema(std::span<const EnumeratorNumber> enumerators) {
  Json names = Json::array();
  for (const EnumeratorNumber& each : enumerators) names.push_back(each.name);
  Json by_name = {{"type", "string"}, {"enum", std::move(names)}};
  return {{"anyOf", Json::array({std::move(by_name), int32_schema()})}};
}

Json JsonSchemaMaker::or_null(Json schema) {
  Json null = {{"type", "null"}};
  return {{"anyOf", Json::array({std::move(schema), std::move(null)})}};
}

Json JsonSchemaMaker::list_schema(Json items) {
  return {{"type", "array"}, {"items", std::move(items)}};
}

Json JsonSchemaMaker::map_schema(Json values) {
  return {{"type", "object"}, {"additionalProperties", std::move(values)}};
}

Json JsonSchemaMaker::record_schema(Json properties) {
  return {
      {"type", "object"}, {"properties", std::move(properties)}, {"additionalProperties", false}};
}

Json JsonSchemaMaker::number(double value) {
  constexpr double kLargestWhole = 1e15;
  const bool is_whole = std::fabs(value) < kLargestWhole && value == std::trunc(value);
  return is_whole ? Json(static_cast<std::int64_t>(value)) : Json(value);
}

Json JsonSchemaMaker::with_default(Json schema, Json value) {
  schema["default"] = std::move(value);
  return schema;
}

void JsonSchemaMaker::add_property(Json& properties, std::string_view name, Json property) {
  properties[std::string(name)] = std::move(property);
}

}  // namespace korvane::encoding::detail
