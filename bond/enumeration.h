#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>

#include "bond/describe.h"
#include "bond/exception.h"

namespace bond {

template <class E>
struct Enumerator {
  std::string_view name;
  E value;
};

/// Describes an enumeration: `qualified_name` and `enumerators`, an array in declared order.
template <class E>
struct DescribeEnum;

template <class E>
concept DescribedEnum = std::is_enum_v<E> && requires {
  DescribeEnum<E>::enumerators;
};

/// The two lookup maps of an enumeration. Built when the program is loaded, read-only afterwards.
template <DescribedEnum E>
struct EnumMaps {
  static const std::map<std::string, E> name_to_value;
  static const std::map<E, std::string> value_to_name;
};

template <DescribedEnum E>
const std::map<std::string, E> EnumMaps<E>::name_to_value = [] {
  std::map<std::string, E> map;
  for (const auto& [name, value] : DescribeEnum<E>::enumerators) map.emplace(name, value);
  return map;
}();

template <DescribedEnum E>
const std::map<E, std::string> EnumMaps<E>::value_to_name = [] {
  std::map<E, std::string> map;
  for (const auto& [name, value] : DescribeEnum<E>::enumerators) map.emplace(value, name);
  return map;
}();

/// The enumerator's name. Throws CoreException "Unexpected value <number> for enum <name>".
template <DescribedEnum E>
const std::string& to_string(E value) {
  const auto found = EnumMaps<E>::value_to_name.find(value);
  if (found == EnumMaps<E>::value_to_name.end()) {
    throw CoreException("Unexpected value " + std::to_string(static_cast<std::int32_t>(value)) +
                        " for enum " + std::string(plain_name(DescribeEnum<E>::qualified_name)));
  }
  return found->second;
}

/// The enumerator of that name. Throws CoreException "Unexpected value <text> for enum <name>".
template <DescribedEnum E>
E from_string(const std::string& name) {
  const auto found = EnumMaps<E>::name_to_value.find(name);
  if (found == EnumMaps<E>::name_to_value.end()) {
    throw CoreException("Unexpected value " + name + " for enum " +
                        std::string(plain_name(DescribeEnum<E>::qualified_name)));
  }
  return found->second;
}

}  // namespace bond
