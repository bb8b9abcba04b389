#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <nlohmann/json.hpp>

#include "bond/describe.h"
#include "bond/wire_type.h"
#include "tests/bond/bytes.h"

/// Records as the JSON of the reference vectors, after their descriptions.
///
/// An object of field name to value, the base's fields first; an unset nullable and a maybe that is
/// nothing are left out, everything else is present. Enumeration: its number. Map: an array of
/// [key, value] in key order. Blob: {"$hex": …}, and so a string that is no valid UTF-8. Double: a
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

template <bond::Described T>
void fields_to_json(const T& record, Json& object);
template <bond::Described T>
std::size_t fields_from_json(const Json& object, T& record);

}  // namespace detail

template <class T>
Json to_vector_json(const T& value) {
  if constexpr (bond::Described<T>) {
    Json object = Json::object();
    detail::fields_to_json(value, object);
    return object;
  } else if constexpr (std::is_same_v<T, bool>) {
    return value;
  } else if constexpr (bond::is_int32_v<T>) {
    return static_cast<std::int32_t>(value);
  } else if constexpr (std::is_same_v<T, double>) {
    return detail::double_to_json(value);
  } else if constexpr (std::is_same_v<T, std::string>) {
    return detail::is_utf8(value) ? Json(value) : detail::hex_object(value);
  } else if constexpr (std::is_same_v<T, bond::blob>) {
    return detail::hex_object(view(value));
  } else if constexpr (bond::is_map_v<T>) {
    Json entries = Json::array();
    for (const auto& [key, mapped] : value) {
      entries.push_back(Json::array({to_vector_json(key), to_vector_json(mapped)}));
    }
    return entries;
  } else {
    static_assert(bond::is_vector_v<T>, "a nullable or a maybe inside another value");
    Json elements = Json::array();
    for (const auto& element : value) elements.push_back(to_vector_json(element));
    return elements;
  }
}

/// Reads into `value`. Throws when the JSON names a field that there is not, or lacks one that is
/// never left out.
template <class T>
void from_vector_json(const Json& json, T& value) {
  if constexpr (bond::Described<T>) {
    if (detail::fields_from_json(json, value) != json.size()) {
      throw std::invalid_argument("a field that there is not: " + json.dump());
    }
  } else if constexpr (std::is_same_v<T, bool>) {
    value = json.get<bool>();
  } else if constexpr (bond::is_int32_v<T>) {
    value = static_cast<T>(json.get<std::int32_t>());
  } else if constexpr (std::is_same_v<T, double>) {
    value = detail::double_from_json(json);
  } else if constexpr (std::is_same_v<T, std::string>) {
    value =
        json.is_object() ? from_hex(json.at("$hex").get<std::string>()) : json.get<std::string>();
  } else if constexpr (std::is_same_v<T, bond::blob>) {
    const std::string bytes = from_hex(json.at("$hex").get<std::string>());
    value = bond::blob::copy_of(bytes.data(), length_of(bytes));
  } else if constexpr (bond::is_map_v<T>) {
    for (const Json& entry : json) {
      typename T::key_type key{};
      from_vector_json(entry.at(0), key);
      from_vector_json(entry.at(1), value[std::move(key)]);
    }
  } else {
    static_assert(bond::is_vector_v<T>, "a nullable or a maybe inside another value");
    for (const Json& element : json) from_vector_json(element, value.emplace_back());
  }
}

template <bond::Described T>
T record_from_vector_json(const Json& json) {
  T record{};
  from_vector_json(json, record);
  return record;
}

/// A record as one line. Two records are compared through it because -0.0 and 0.0 are equal as
/// numbers, two equal not-a-numbers are not, and a failure then shows the fields.
template <bond::Described T>
std::string vector_text(const T& record) {
  return to_vector_json(record).dump();
}

namespace detail {

template <bond::Described T>
void fields_to_json(const T& record, Json& object) {
  if constexpr (bond::DescribedWithBase<T>) {
    fields_to_json<typename bond::Describe<T>::base>(record, object);
  }
  bond::for_each_field<T>([&](auto field) {
    const auto& value = record.*field.member;
    using M = std::remove_cvref_t<decltype(value)>;
    if constexpr (bond::is_nullable_v<M>) {
      if (value.hasvalue()) object[std::string(field.name)] = to_vector_json(value.value());
    } else if constexpr (bond::is_maybe_v<M>) {
      if (!value.is_nothing()) object[std::string(field.name)] = to_vector_json(value.value());
    } else {
      object[std::string(field.name)] = to_vector_json(value);
    }
  });
}

/// Returns how many fields the object had.
template <bond::Described T>
std::size_t fields_from_json(const Json& object, T& record) {
  std::size_t present = 0;
  if constexpr (bond::DescribedWithBase<T>) {
    present += fields_from_json<typename bond::Describe<T>::base>(object, record);
  }
  bond::for_each_field<T>([&](auto field) {
    auto& value = record.*field.member;
    using M = std::remove_cvref_t<decltype(value)>;
    const std::string name(field.name);
    if constexpr (bond::is_nullable_v<M>) {
      if (!object.contains(name)) return;
      from_vector_json(object.at(name), value.set());
    } else if constexpr (bond::is_maybe_v<M>) {
      if (!object.contains(name)) return;
      from_vector_json(object.at(name), value.set_value());
    } else {
      from_vector_json(object.at(name), value);
    }
    ++present;
  });
  return present;
}

}  // namespace detail

}  // namespace korvane::test
