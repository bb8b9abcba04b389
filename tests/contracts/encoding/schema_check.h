#pragma once

#include <algorithm>
#include <string>

#include <nlohmann/json.hpp>

#include "contracts/encoding/json.h"

namespace korvane::test {

/// The component that a reference names. Throws std::out_of_range when there is none.
inline const nlohmann::ordered_json& referenced(const encoding::JsonSchemas& components,
                                                const std::string& reference) {
  const std::string form = "#/components/schemas/";
  if (!reference.starts_with(form)) throw std::out_of_range(reference);
  return components.at(reference.substr(form.size()));
}

/// What `value` does against `schema`, with the place of the first offence; empty when it conforms.
/// Knows the keywords that our schemas use, and takes any other for an offence.
inline std::string offence(const nlohmann::ordered_json& value,
                           const nlohmann::ordered_json& schema,
                           const encoding::JsonSchemas& components, const std::string& path = "$") {
  const auto is = [&](const std::string& fault, const nlohmann::ordered_json& argument = {}) {
    std::string text = path + " is " + fault;
    return argument.is_null() ? text : text.append(" ").append(argument.dump());
  };
  const auto offence_within =
      [&](const nlohmann::ordered_json& part, const nlohmann::ordered_json& part_schema,
          const std::string& step) { return offence(part, part_schema, components, path + step); };
  const auto has_type = [&](const std::string& type) {
    if (type == "null") return value.is_null();
    if (type == "boolean") return value.is_boolean();
    if (type == "integer") return value.is_number_integer();
    if (type == "number") return value.is_number();
    if (type == "string") return value.is_string();
    if (type == "array") return value.is_array();
    return type == "object" && value.is_object();
  };
  for (const auto& [keyword, argument] : schema.items()) {
    std::string found;
    if (keyword == "type") {
      if (!has_type(argument)) return is("no", argument);
    } else if (keyword == "$ref") {
      found = offence_within(value, referenced(components, argument), "");
    } else if (keyword == "anyOf") {
      const bool conforms = std::any_of(argument.begin(), argument.end(), [&](const auto& each) {
        return offence_within(value, each, "").empty();
      });
      if (!conforms) return is("none of", argument);
    } else if (keyword == "enum") {
      const bool is_listed = std::find(argument.begin(), argument.end(), value) != argument.end();
      if (!is_listed) return is("none of", argument);
    } else if (keyword == "minimum") {
      if (value < argument) return is("below", argument);
    } else if (keyword == "maximum") {
      if (value > argument) return is("above", argument);
    } else if (keyword == "items") {
      for (const auto& element : value) {
        if (found.empty()) found = offence_within(element, argument, "[]");
      }
    } else if (keyword == "properties") {
      for (const auto& [name, property] : argument.items()) {
        if (!found.empty() || !value.contains(name)) continue;
        found = offence_within(value.at(name), property, "." + name);
      }
    } else if (keyword == "required") {
      for (const auto& name : argument) {
        if (!value.contains(name)) return is("without", name);
      }
    } else if (keyword == "additionalProperties") {
      for (const auto& [name, member] : value.items()) {
        const bool is_declared =
            schema.contains("properties") && schema.at("properties").contains(name);
        if (!found.empty() || is_declared) continue;
        if (argument == false) return is("not to have", name);
        found = offence_within(member, argument, "." + name);
      }
    } else if (keyword != "format" && keyword != "contentEncoding" && keyword != "description") {
      return is("under the unknown keyword", keyword);
    }
    if (!found.empty()) return found;
  }
  return {};
}

}  // namespace korvane::test
