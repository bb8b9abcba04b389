#pragma once

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string>

#include "bond/describe.h"
#include "bond/enumeration.h"
#include "bond/kinds.h"
#include "contracts/common/variant.h"
#include "contracts/encoding/base64.h"
#include "schedule/table.h"
#include "schedule/table_text.h"

/// Any value of a contract as a cell of a table.
namespace korvane::schedule {

/// The enumerator in small letters, without the k before it: "left". The number of a value without
/// a name.
template <bond::DescribedEnum E>
std::string enumerator_text(E value) {
  for (const auto& each : bond::DescribeEnum<E>::enumerators) {
    if (each.value != value) continue;
    std::string text(each.name.substr(each.name[0] == 'k' ? 1 : 0));
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
  }
  return std::to_string(static_cast<std::int32_t>(value));
}

/// The value of a property: the values that are set, the bytes of a blob as base64.
std::string variant_text(const Variant& value);

/// A number as a number if it is the only value.
Cell variant_cell(const Variant& value);

inline Cell value_cell(bond::Bool auto value) { return std::string(value ? "true" : "false"); }
inline Cell value_cell(bond::Int32 auto value) { return std::int64_t{value}; }
inline Cell value_cell(bond::Double auto value) { return value; }
inline Cell value_cell(const bond::Text auto& value) { return value; }
inline Cell value_cell(const bond::Blob auto& value) {
  return encoding::detail::base64_text({value.content(), value.size()});
}
template <bond::Enumeration E>
Cell value_cell(E value) {
  return enumerator_text(value);
}
inline Cell value_cell(const Variant& value) { return variant_cell(value); }
Cell value_cell(const bond::Nullable auto& value);
Cell value_cell(const bond::List auto& list);
Cell value_cell(const bond::Map auto& map);
/// The fields that do not hold their default: "{length 120, angle 90}".
template <bond::Record T>
Cell value_cell(const T& record);

/// A cell for people, on one line.
std::string cell_text(const Cell& cell);

Cell value_cell(const bond::Nullable auto& value) {
  return value.hasvalue() ? value_cell(*value) : Cell();
}

Cell value_cell(const bond::List auto& list) {
  std::string text;
  for (const auto& element : list) {
    text += (text.empty() ? "" : ", ") + cell_text(value_cell(element));
  }
  return "[" + text + "]";
}

Cell value_cell(const bond::Map auto& map) {
  std::string text;
  for (const auto& [key, value] : map) {
    text += (text.empty() ? "" : ", ") + key + " " + cell_text(value_cell(value));
  }
  return "{" + text + "}";
}

template <bond::Record T>
Cell value_cell(const T& record) {
  const T otherwise{};
  std::string text;
  bond::for_each_field<T>([&](const auto& field) {
    const auto& value = record.*field.member;
    if (value == otherwise.*field.member) return;
    text +=
        (text.empty() ? "" : ", ") + std::string(field.name) + " " + cell_text(value_cell(value));
  });
  return "{" + text + "}";
}

}  // namespace korvane::schedule
