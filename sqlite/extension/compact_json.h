#pragma once

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "bond/describe.h"
#include "bond/enumeration.h"
#include "bond/kinds.h"
#include "contracts/cad/contracts.describe.h"
#include "contracts/common/variant.describe.h"
#include "contracts/encoding/base64.h"
#include "contracts/encoding/json_text.h"

/// Parts of a record as JSON for SQL: short, so that it can be read in a cell and taken apart with
/// SQLite's JSON functions. Not the JSON of the contracts, which says everything.
namespace korvane::sqlite::extension {

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

/// A record is an object of the fields that do not hold their default, a point [x, y, z], an open
/// value its one value, the row of a text block an array of its cells' values. Numbers that are not
/// finite are null, and bytes that are not UTF-8 become U+FFFD: nothing is thrown for any value.
class CompactJson {
 public:
  static std::string text_of(const auto& value) {
    CompactJson json;
    json.write(value);
    return std::move(json.text_);
  }

 private:
  void write(bond::Bool auto value) { text_ += value ? "true" : "false"; }
  void write(bond::Int32 auto value) { text_ += std::to_string(value); }
  void write(bond::Double auto value) {
    text_ += std::isfinite(value) ? encoding::detail::number_text(value) : "null";
  }
  void write(const bond::Text auto& value) { write_text(value); }
  void write(const bond::Blob auto& value) {
    write_text(encoding::detail::base64_text({value.content(), value.size()}));
  }
  template <bond::Enumeration E>
  void write(E value) {
    write_text(enumerator_text(value));
  }
  void write(const bond::Nullable auto& value) {
    value.hasvalue() ? write(*value) : void(text_ += "null");
  }
  void write(const bond::List auto& list) {
    text_ += '[';
    for (const auto& element : list) {
      write_separator();
      write(element);
    }
    text_ += ']';
  }
  void write(const bond::Map auto& map) {
    text_ += '{';
    for (const auto& [key, value] : map) {
      write_name(key);
      write(value);
    }
    text_ += '}';
  }
  void write(const model::geometry::Point3d& point) {
    text_ += '[';
    for (const double value : {point.x, point.y, point.z}) {
      write_separator();
      write(value);
    }
    text_ += ']';
  }
  void write(const model::cad::TextblockRow& row) { write(row.cells); }
  void write(const model::cad::Cell& cell) { write(cell.value); }

  /// null if none of its values is set, and an object if several are.
  void write(const Variant& variant) {
    int set = 0;
    bond::for_each_field<Variant>(
        [&](const auto& field) { set += (variant.*field.member).hasvalue() ? 1 : 0; });
    if (set > 1) return write_fields(variant);
    if (set == 0) return void(text_ += "null");
    bond::for_each_field<Variant>([&](const auto& field) {
      if ((variant.*field.member).hasvalue()) write(*(variant.*field.member));
    });
  }
  template <bond::Record T>
  void write(const T& record) {
    write_fields(record);
  }

  template <bond::Record T>
  void write_fields(const T& record) {
    static const T otherwise{};
    text_ += '{';
    bond::for_each_field<T>([&](const auto& field) {
      const auto& value = record.*field.member;
      if (value == otherwise.*field.member) return;
      write_name(field.name);
      write(value);
    });
    text_ += '}';
  }

  void write_text(std::string_view text) {
    using Json = nlohmann::json;
    text_ += Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
  }
  void write_name(std::string_view name) {
    write_separator();
    write_text(name);
    text_ += ':';
  }
  void write_separator() {
    // No value ends in an opening bracket.
    if (text_.back() != '{' && text_.back() != '[') text_ += ',';
  }

  std::string text_;
};

}  // namespace korvane::sqlite::extension
