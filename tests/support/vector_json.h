#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include "bond/describe.h"
#include "bond/kinds.h"
#include "tests/bond/bytes.h"

/// Records as the JSON of the reference vectors, made from their descriptions.
///
/// An object of field name to value, the base's fields first; an unset nullable and a maybe that is
/// nothing are left out, everything else is present. Enumeration: its number. Map: an array of
/// [key, value] in key order. Blob: {"$hex": …}, as is a string that is not valid UTF-8. Double: a
/// number, or "bits:" and 16 hexadecimal digits when it is not finite.
namespace korvane::test {

using Json = nlohmann::ordered_json;

namespace detail {

inline Json hex_object(std::string_view bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    text += digits[static_cast<unsigned char>(byte) >> 4];
    text += digits[static_cast<unsigned char>(byte) & 0x0F];
  }
  Json object = Json::object();
  object["$hex"] = std::move(text);
  return object;
}

inline bool is_utf8(const std::string& text) {
  try {
    static_cast<void>(Json(text).dump());
    return true;
  } catch (const Json::type_error&) {
    return false;
  }
}

inline Json double_to_json(double value) {
  if (std::isfinite(value)) return value;
  char text[32];
  std::snprintf(text, sizeof text, "bits:%016llx",
                static_cast<unsigned long long>(std::bit_cast<std::uint64_t>(value)));
  return std::string(text);
}

inline double double_from_json(const Json& json) {
  if (!json.is_string()) return json.get<double>();
  const auto& text = json.get_ref<const std::string&>();
  if (text.rfind("bits:", 0) != 0) throw std::invalid_argument("neither a number nor bits");
  return std::bit_cast<double>(
      static_cast<std::uint64_t>(std::stoull(text.substr(5), nullptr, 16)));
}

/// A value of each kind as JSON.
struct VectorWriter {
  static Json value(bond::Bool auto value) { return value; }
  static Json value(bond::Int32 auto value) { return value; }
  static Json value(bond::Double auto value) { return double_to_json(value); }
  static Json value(bond::Enumeration auto value) { return static_cast<std::int32_t>(value); }
  static Json value(const bond::Text auto& value) {
    return is_utf8(value) ? Json(value) : hex_object(value);
  }
  static Json value(const bond::Blob auto& value) { return hex_object(view(value)); }
  static Json value(const bond::List auto& list) {
    Json elements = Json::array();
    for (const auto& element : list) elements.push_back(value(element));
    return elements;
  }
  static Json value(const bond::Map auto& map) {
    Json entries = Json::array();
    for (const auto& [key, mapped] : map) {
      entries.push_back(Json::array({value(key), value(mapped)}));
    }
    return entries;
  }
  static Json value(const bond::Record auto& record) {
    Json object = Json::object();
    add_fields(record, object);
    return object;
  }

 private:
  template <bond::Record T>
  static void add_fields(const T& record, Json& object) {
    if constexpr (bond::DescribedWithBase<T>) {
      add_fields<typename bond::Describe<T>::base>(record, object);
    }
    bond::for_each_field<T>([&](const auto& field) {
      add_field(object, std::string(field.name), record.*field.member);
    });
  }
  static void add_field(Json& object, const std::string& name, const auto& field) {
    object[name] = value(field);
  }
  static void add_field(Json& object, const std::string& name, const bond::Nullable auto& field) {
    if (field.hasvalue()) object[name] = value(field.value());
  }
  static void add_field(Json& object, const std::string& name, const bond::Maybe auto& field) {
    if (!field.is_nothing()) object[name] = value(field.value());
  }
};

/// Reads JSON into a value of each kind. Throws when it names a field that there is not, or lacks
/// one that is never left out.
struct VectorReader {
  static void read(const Json& json, bond::Bool auto& value) { value = json.get<bool>(); }
  static void read(const Json& json, bond::Int32 auto& value) { value = json.get<std::int32_t>(); }
  static void read(const Json& json, bond::Double auto& value) { value = double_from_json(json); }
  template <bond::Enumeration E>
  static void read(const Json& json, E& value) {
    value = static_cast<E>(json.get<std::int32_t>());
  }
  static void read(const Json& json, bond::Text auto& value) {
    value =
        json.is_object() ? from_hex(json.at("$hex").get<std::string>()) : json.get<std::string>();
  }
  static void read(const Json& json, bond::Blob auto& value) {
    const std::string bytes = from_hex(json.at("$hex").get<std::string>());
    value = bond::blob::copy_of(bytes.data(), length_of(bytes));
  }
  static void read(const Json& json, bond::List auto& list) {
    for (const Json& element : json) read(element, list.emplace_back());
  }
  template <bond::Map T>
  static void read(const Json& json, T& map) {
    for (const Json& entry : json) {
      typename T::key_type key{};
      read(entry.at(0), key);
      read(entry.at(1), map[std::move(key)]);
    }
  }
  static void read(const Json& json, bond::Record auto& record) {
    if (read_fields(json, record) != json.size()) {
      throw std::invalid_argument("a field that there is not: " + json.dump());
    }
  }

 private:
  /// Returns how many fields the object had.
  template <bond::Record T>
  static std::size_t read_fields(const Json& object, T& record) {
    std::size_t present = 0;
    if constexpr (bond::DescribedWithBase<T>) {
      present += read_fields<typename bond::Describe<T>::base>(object, record);
    }
    bond::for_each_field<T>([&](const auto& field) {
      present += read_field(object, std::string(field.name), record.*field.member) ? 1 : 0;
    });
    return present;
  }
  /// Each returns whether the object has the field.
  static bool read_field(const Json& object, const std::string& name, auto& value) {
    read(object.at(name), value);
    return true;
  }
  static bool read_field(const Json& object, const std::string& name, bond::Nullable auto& value) {
    if (!object.contains(name)) return false;
    read(object.at(name), value.set());
    return true;
  }
  static bool read_field(const Json& object, const std::string& name, bond::Maybe auto& value) {
    if (!object.contains(name)) return false;
    read(object.at(name), value.set_value());
    return true;
  }
};

}  // namespace detail

template <class T>
Json to_vector_json(const T& value) {
  return detail::VectorWriter::value(value);
}

/// Reads into `value`. Throws when the JSON has an unknown field, or lacks one that is never left
/// out.
template <class T>
void from_vector_json(const Json& json, T& value) {
  detail::VectorReader::read(json, value);
}

template <bond::Record T>
T record_from_vector_json(const Json& json) {
  T record{};
  from_vector_json(json, record);
  return record;
}

/// A record as one line. Two records are compared through it because -0.0 and 0.0 are equal as
/// numbers, two equal not-a-numbers are not, and a failure then shows the fields.
template <bond::Record T>
std::string vector_text(const T& record) {
  return to_vector_json(record).dump();
}

}  // namespace korvane::test
