#pragma once

#include <algorithm>
#include <map>
#include <string>

#include <nlohmann/json.hpp>

namespace korvane::test {

/// Components by their name, as the references name them.
using Components = std::map<std::string, nlohmann::ordered_json>;

/// The component that a reference names. Throws std::out_of_range when there is none.
inline const nlohmann::ordered_json& referenced(const Components& components,
                                                const std::string& reference) {
  const std::string form = "#/components/schemas/";
  if (!reference.starts_with(form)) throw std::out_of_range(reference);
  return components.at(reference.substr(form.size()));
}

/// What `value` does against `schema`, with the place of the first offence; empty when it conforms.
/// Knows the keywords that our schemas use, and takes any other for an offence.
inline std::string offence(const nlohmann::ordered_json& value,
                           const nlohmann::ordered_json& schema, const Components& components,
                           const std::string& path = "$") {
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
    if (keyword == "type") {
      if (!has_type(argument)) return path + " is no " + argument.dump();
    } else if (keyword == "$ref") {
      const std::string found = offence(value, referenced(components, argument), components, path);
      if (!found.empty()) return found;
    } else if (keyword == "anyOf") {
      const bool conforms = std::any_of(argument.begin(), argument.end(), [&](const auto& each) {
        return offence(value, each, components, path).empty();
      });
      if (!conforms) return path + " is none of " + argument.dump();
    } else if (keyword == "enum") {
      if (std::find(argument.begin(), argument.end(), value) == argument.end()) {
        return path + " is not among " + argument.dump();
      }
    } else if (keyword == "minimum") {
      if (value.is_number() && value < argument) return path + " is below " + argument.dump();
    } else if (keyword == "maximum") {
      if (value.is_number() && value > argument) return path + " is above " + argument.dump();
    } else if (keyword == "items") {
      for (const auto& element : value) {
        const std::string found = offence(element, argument, components, path + "[]");
        if (!found.empty()) return found;
      }
    } else if (keyword == "properties") {
      for (const auto& [name, property] : argument.items()) {
        if (!value.contains(name)) continue;
        const std::string found = offence(value.at(name), property, components, path + "." + name);
        if (!found.empty()) return found;
      }
    } else if (keyword == "additionalProperties") {
      for (const auto& [name, member] : value.items()) {
        if (schema.contains("properties") && schema.at("properties").contains(name)) continue;
        if (argument.is_boolean()) {
          if (!argument) return path + "." + name + " is one too many";
          continue;
        }
        const std::string found = offence(member, argument, components, path + "." + name);
        if (!found.empty()) return found;
      }
    } else if (keyword != "format" && keyword != "contentEncoding" && keyword != "default") {
      return path + " has the unknown keyword " + keyword;
    }
  }
  return {};
}

}  // namespace korvane::test
