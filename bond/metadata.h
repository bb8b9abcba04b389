#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "bond/wire_type.h"

namespace bond {

enum Modifier { Optional = 0, Required = 1, RequiredOptional = 2 };

/// A field's default, in the member of its kind. `nothing` stands for the default of that name.
struct Variant {
  std::uint64_t uint_value = 0;
  std::int64_t int_value = 0;
  double double_value = 0;
  std::string string_value;
  std::wstring wstring_value;
  bool nothing = false;

  bool operator==(const Variant&) const = default;
};

/// What the schema says of a struct or of a field. `qualified_name` is set for structs only.
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

template <class M>
Variant default_variant(const M& value) {
  Variant result;
  if constexpr (is_maybe_v<M>) {
    result.nothing = true;
  } else if constexpr (std::is_same_v<M, bool>) {
    result.uint_value = value ? 1 : 0;
  } else if constexpr (is_int32_v<M>) {
    result.int_value = static_cast<std::int64_t>(value);
  } else if constexpr (std::is_same_v<M, double>) {
    result.double_value = value;
  } else if constexpr (std::is_same_v<M, std::string>) {
    result.string_value = value;
  }
  return result;
}

template <Described T>
Metadata struct_metadata() {
  Metadata metadata;
  metadata.qualified_name = Describe<T>::qualified_name;
  metadata.name = plain_name(Describe<T>::qualified_name);
  if constexpr (requires { Describe<T>::attributes; }) {
    for (const Attribute& attribute : Describe<T>::attributes) {
      metadata.attributes.emplace(attribute.name, attribute.value);
    }
  }
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
    if (!field.attribute.name.empty()) {
      described.metadata.attributes.emplace(field.attribute.name, field.attribute.value);
    }
    described.metadata.default_value = default_variant(value);
    fields.push_back(std::move(described));
  });
  return fields;
}

}  // namespace detail

/// The schema metadata of `T`. Filled when the program is loaded, read-only afterwards, and so free
/// to read from every thread. `fields` are those that `T` adds to its base, in ascending ordinal.
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
