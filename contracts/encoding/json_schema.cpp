#include "contracts/encoding/json_schema.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <limits>

#include "contracts/meanings/meanings.h"

namespace korvane::encoding::detail {

using Json = JsonSchemaMaker::Json;
using meanings::find_meaning;
using meanings::Meaning;

std::string JsonSchemaMaker::component_name(std::string_view type_name, SchemaOf of) {
  std::string name(type_name);
  std::replace(name.begin(), name.end(), '<', '_');
  std::erase(name, '>');
  if (of == SchemaOf::request) name += "-Input";
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

Json JsonSchemaMaker::enumeration_schema(std::string_view owner,
                                         std::span<const EnumeratorNumber> enumerators) {
  Json names = Json::array();
  std::string description = description_of(owner, "");
  for (const EnumeratorNumber& each : enumerators) {
    names.push_back(each.name);
    const Meaning* const meaning = find_meaning(owner, each.name);
    if (meaning == nullptr) continue;
    description.append(" `").append(each.name).append("`: ").append(meaning->text).append(".");
  }
  Json by_name = {{"type", "string"}, {"enum", std::move(names)}};
  Json schema = {{"anyOf", Json::array({std::move(by_name), int32_schema()})}};
  if (!description.empty()) schema["description"] = std::move(description);
  return schema;
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

Json JsonSchemaMaker::record_schema(std::string_view owner, Json properties) const {
  Json schema = {{"type", "object"}};
  std::string description = description_of(owner, "");
  if (!description.empty()) schema["description"] = std::move(description);
  if (of_ == SchemaOf::reply && !properties.empty()) {
    for (const auto& [name, property] : properties.items()) schema["required"].push_back(name);
  }
  schema["properties"] = std::move(properties);
  schema["additionalProperties"] = false;
  return schema;
}

Json JsonSchemaMaker::number(double value) {
  constexpr double kLargestWhole = 1e15;
  const bool is_whole = std::fabs(value) < kLargestWhole && value == std::trunc(value);
  return is_whole ? Json(static_cast<std::int64_t>(value)) : Json(value);
}

std::string JsonSchemaMaker::description_of(std::string_view owner, std::string_view field) {
  const Meaning* const meaning = find_meaning(owner, field);
  if (meaning == nullptr) return {};
  std::string text(meaning->text);
  text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
  if (text.back() != '.') text += '.';
  if (!meaning->unit.empty()) text.append(" Unit: ").append(meaning->unit).append(".");
  return text;
}

void JsonSchemaMaker::add_default(std::string& description, const Json& value) {
  if (!description.empty()) description += ' ';
  description.append("Default: ").append(value.dump()).append(".");
}

}  // namespace korvane::encoding::detail
