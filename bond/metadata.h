#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "bond/wire_type.h"

namespace bond {

enum Modifier { Optional = 0, Required = 1, RequiredOptional = 2 };

/// A field's default, in the member of its kind. `nothing` marks a field whose default is `nothing`.
struct Variant {
  std::uint64_t uint_value = 0;
  std::int64_t int_value = 0;
  double double_value = 0;
  std::string string_value = {};
  std::wstring wstring_value = {};
  bool nothing = false;

  // coverage: values that differ in one field alone are not made for every field
  bool operator==(const Variant&) const = default;
};

/// Describes a struct or a field. `qualified_name` is set for structs only.
struct Metadata {
  std::string name;
  std::string qualified_name;
  std::map<std::string, std::string> attributes;
  Modifier modifier = Optional;
  Variant default_value;
};

struct FieldMetadata {
  std::uint16_t id = 0;
  BondDataType type = BT_STOP;
  Metadata metadata;
};

namespace detail {

/// The default of a field of each kind.
struct DefaultVariant {
  static Variant of(Bool auto value) { return {.uint_value = value}; }
  static Variant of(Int32 auto value) { return {.int_value = value}; }
  static Variant of(Enumeration auto value) {
    return {.int_value = static_cast<std::int64_t>(value)};
  }
  static Variant of(Double auto value) { return {.double_value = value}; }
  static Variant of(const Text auto& value) { return {.string_value = value}; }
  static Variant of(const Maybe auto&) { return {.nothing = true}; }
  static Variant of(const Container auto&) { return {}; }
  static Variant of(const Record auto&) { return {}; }
};

inline std::map<std::string, std::string> attribute_map(std::span<const Attribute> attributes) {
  std::map<std::string, std::string> map;
  for (const auto& [name, value] : attributes) {
    if (!name.empty()) map.emplace(name, value);
  }
  return map;
}

template <Described T>
Metadata struct_metadata() {
  Metadata metadata;
  metadata.qualified_name = Describe<T>::qualified_name;
  metadata.name = plain_name(Describe<T>::qualified_name);
  metadata.attributes = attribute_map(attributes<T>());
  return metadata;
}

template <Described T>
std::vector<FieldMetadata> field_metadata() {
  std::vector<FieldMetadata> fields;
  const T defaults{};
  for_each_field<T>([&](auto field) {
    const auto& value = defaults.*field.member;
    FieldMetadata described;
    described.id = field.ordinal;
    described.type = wire_type<std::remove_cvref_t<decltype(value)>>();
    described.metadata.name = field.name;
    described.metadata.attributes = attribute_map({&field.attribute, 1});
    described.metadata.default_value = DefaultVariant::of(value);
    fields.push_back(std::move(described));
  });
  return fields;
}

}  // namespace detail

/// The metadata of `T`. Filled when the program is loaded and read-only afterwards: any thread may
/// read it. `fields` are those that `T` adds to its base, in ascending ordinal.
template <Described T>
struct Schema {
  static const Metadata metadata;
  static const std::vector<FieldMetadata> fields;
};

template <Described T>
const Metadata Schema<T>::metadata = detail::struct_metadata<T>();
template <Described T>
const std::vector<FieldMetadata> Schema<T>::fields = detail::field_metadata<T>();

}  // namespace bond
