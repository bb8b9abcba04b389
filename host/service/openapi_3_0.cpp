#include "host/service/openapi_3_0.h"

#include <algorithm>
#include <string>
#include <utility>

namespace korvane::host::openapi {

namespace {

using Json = nlohmann::ordered_json;

bool is_null_schema(const Json& schema) {
  return schema.is_object() && schema.value("type", Json()) == "null";
}

bool is_enumeration(const Json& schema) { return schema.is_object() && schema.contains("enum"); }

/// Puts the members of `parts` into `schema`, which keeps those that it has.
void merge(Json& schema, Json parts) {
  for (auto& [name, value] : parts.items()) {
    if (!schema.contains(name)) schema[name] = std::move(value);
  }
}

/// "anyOf" is a value or null, or a name or a number.
void rewrite_choice(Json& schema) {
  if (!schema.contains("anyOf")) return;
  Json choices = std::move(schema["anyOf"]);
  schema.erase("anyOf");
  const auto null = std::find_if(choices.begin(), choices.end(), is_null_schema);
  if (null != choices.end()) {
    choices.erase(null);
    schema["nullable"] = true;
  }
  const auto names = std::find_if(choices.begin(), choices.end(), is_enumeration);
  if (names != choices.end()) choices = Json::array({*names});
  if (choices.size() == 1) {
    merge(schema, std::move(choices.front()));
  } else {
    schema["anyOf"] = std::move(choices);
  }
}

void rewrite_types(Json& schema) {
  if (!schema.contains("type") || !schema["type"].is_array()) return;
  Json types = std::move(schema["type"]);
  schema.erase("type");
  const auto null = std::find(types.begin(), types.end(), "null");
  if (null != types.end()) {
    types.erase(null);
    schema["nullable"] = true;
  }
  if (types.size() == 1) {
    schema["type"] = types.front();
  } else {
    schema.erase("nullable");  // means nothing without a type
  }
}

void rewrite_list(Json& schema) {
  if (!schema.contains("prefixItems")) return;
  schema["items"] = schema["prefixItems"].front();
  schema.erase("prefixItems");
}

void rewrite_text(Json& schema) {
  if (schema.value("contentEncoding", Json()) != "base64") return;
  schema.erase("contentEncoding");
  schema["format"] = "byte";
}

void rewrite_examples(Json& schema) {
  if (!schema.contains("examples") || !schema["examples"].is_array()) return;
  schema["example"] = schema["examples"].front();
  schema.erase("examples");
}

Json& target_of(const Json& reference, Json& schemas) {
  const std::string target = reference;
  return schemas.at(target.substr(target.rfind('/') + 1));
}

/// What is null is none of the names.
void rewrite_nullable_enumeration(Json& schema, const Json& names) {
  std::string text = schema.value("description", "");
  text += text.empty() ? "One of" : " One of";
  for (const Json& name : names) {
    text.append(name == names.front() ? " `" : ", `").append(name.get<std::string>()).append("`");
  }
  schema["description"] = text + ".";
  schema["type"] = "string";
  schema.erase("$ref");
}

/// A reference to what is not nullable allows no null, whatever stands beside it.
void rewrite_reference(Json& schema, Json& schemas) {
  if (!schema.contains("$ref") || schema.size() == 1) return;
  if (schema.contains("nullable")) {
    Json& target = target_of(schema["$ref"], schemas);
    rewrite_choice(target);
    if (is_enumeration(target)) return rewrite_nullable_enumeration(schema, target["enum"]);
    target["nullable"] = true;
    schema["type"] = target.at("type");
  }
  Json reference = {{"$ref", std::move(schema["$ref"])}};
  schema.erase("$ref");
  schema["allOf"] = Json::array({std::move(reference)});
}

void rewrite_schema(Json& schema, Json& schemas) {
  if (!schema.is_object()) return;
  rewrite_choice(schema);
  rewrite_types(schema);
  rewrite_list(schema);
  rewrite_text(schema);
  rewrite_examples(schema);
  rewrite_reference(schema, schemas);
  for (const char* const name : {"items", "additionalProperties"}) {
    if (schema.contains(name)) rewrite_schema(schema[name], schemas);
  }
  for (const char* const name : {"anyOf", "allOf"}) {
    if (!schema.contains(name)) continue;
    for (Json& part : schema[name]) rewrite_schema(part, schemas);
  }
  if (schema.contains("properties")) {
    for (auto& [name, property] : schema["properties"].items()) rewrite_schema(property, schemas);
  }
}

/// Of parameters, headers and bodies, wherever they are. A `schema` there is always a schema.
void rewrite_part(Json& part, Json& schemas) {
  if (!part.is_structured()) return;
  for (auto& [name, value] : part.items()) {
    if (name == "schema") {
      rewrite_schema(value, schemas);
    } else if (name != "example" && name != "examples") {
      rewrite_part(value, schemas);
    }
  }
}

/// Those that are only where they may be null, and are texts there.
void erase_unused_enumerations(Json& document) {
  const std::string text = document.dump();
  Json& schemas = document["components"]["schemas"];
  Json used = Json::object();
  for (auto& [name, schema] : schemas.items()) {
    const bool is_used = text.find("\"#/components/schemas/" + name + "\"") != std::string::npos;
    if (is_used || !is_enumeration(schema)) used[name] = std::move(schema);
  }
  schemas = std::move(used);
}

}  // namespace

void rewrite_as_3_0(Json& document) {
  document["openapi"] = "3.0.3";
  Json& components = document["components"];
  Json& schemas = components["schemas"];
  for (auto& [name, schema] : schemas.items()) rewrite_schema(schema, schemas);
  for (auto& [kind, parts] : components.items()) {
    if (kind != "schemas") rewrite_part(parts, schemas);
  }
  rewrite_part(document["paths"], schemas);
  erase_unused_enumerations(document);
}

}  // namespace korvane::host::openapi
