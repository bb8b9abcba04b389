#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <variant>

#include "bond/blob.h"
#include "bond/nullable.h"

namespace korvane::model::tables {

/// A run of bytes, not owned.
struct Bytes {
  const void* data = nullptr;
  std::size_t size = 0;

  friend bool operator==(const Bytes& left, const Bytes& right) {
    return left.size == right.size &&
           (left.size == 0 || std::memcmp(left.data, right.data, left.size) == 0);
  }
};

/// One value of a row, in no database's terms: NULL (`std::monostate`), a truth value, a number, a
/// text or bytes. Texts and bytes are not copied: whatever owns them must outlive the value.
using Value = std::variant<std::monostate, bool, std::int32_t, double, std::string_view, Bytes>;

inline Bytes bytes_of(const bond::blob& blob) { return {blob.data(), blob.size()}; }

// A template, so that no pointer turns into a truth value.
template <std::same_as<bool> B>
Value value_of(B value) {
  return value;
}
inline Value value_of(std::int32_t value) { return value; }
inline Value value_of(double value) { return value; }
/// An empty text is a text, not NULL.
inline Value value_of(std::string_view value) { return value; }
inline Value value_of(Bytes value) { return value; }
inline Value value_of(const bond::blob& value) { return bytes_of(value); }
/// NULL if it has no value.
template <class T>
Value value_of(const bond::nullable<T>& value) {
  return value.hasvalue() ? value_of(*value) : Value();
}

}  // namespace korvane::model::tables
