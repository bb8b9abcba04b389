#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "bond/blob.h"
#include "bond/describe.h"
#include "bond/maybe.h"
#include "bond/nullable.h"

namespace bond {

/// The type codes of the wire.
enum BondDataType : std::uint8_t {
  BT_STOP = 0,
  BT_STOP_BASE = 1,
  BT_BOOL = 2,
  BT_UINT8 = 3,
  BT_UINT16 = 4,
  BT_UINT32 = 5,
  BT_UINT64 = 6,
  BT_FLOAT = 7,
  BT_DOUBLE = 8,
  BT_STRING = 9,
  BT_STRUCT = 10,
  BT_LIST = 11,
  BT_SET = 12,
  BT_MAP = 13,
  BT_INT8 = 14,
  BT_INT16 = 15,
  BT_INT32 = 16,
  BT_INT64 = 17,
  BT_WSTRING = 18,
};

template <class T>
inline constexpr bool is_nullable_v = false;
template <class T>
inline constexpr bool is_nullable_v<nullable<T>> = true;

template <class T>
inline constexpr bool is_maybe_v = false;
template <class T>
inline constexpr bool is_maybe_v<maybe<T>> = true;

template <class T>
inline constexpr bool is_vector_v = false;
template <class T>
inline constexpr bool is_vector_v<std::vector<T>> = true;

template <class T>
inline constexpr bool is_map_v = false;
template <class K, class V>
inline constexpr bool is_map_v<std::map<K, V>> = true;

/// An integer of the contracts, or an enumeration, which travels as one.
template <class T>
inline constexpr bool is_int32_v = std::is_same_v<T, std::int32_t> || std::is_enum_v<T>;

/// The code under which a value of `T` is written.
template <class T>
constexpr BondDataType wire_type() {
  if constexpr (is_maybe_v<T>) {
    return wire_type<typename T::value_type>();
  } else if constexpr (std::is_same_v<T, bool>) {
    return BT_BOOL;
  } else if constexpr (is_int32_v<T>) {
    return BT_INT32;
  } else if constexpr (std::is_same_v<T, double>) {
    return BT_DOUBLE;
  } else if constexpr (std::is_same_v<T, std::string>) {
    return BT_STRING;
  } else if constexpr (is_map_v<T>) {
    return BT_MAP;
  } else if constexpr (is_vector_v<T> || is_nullable_v<T> || std::is_same_v<T, blob>) {
    return BT_LIST;
  } else {
    static_assert(Described<T>, "a type that no contract uses");
    return BT_STRUCT;
  }
}

/// Whether a value of `T` can be read from the code `type`: its own, or a narrower one of its kind.
template <class T>
constexpr bool fits(BondDataType type) {
  if constexpr (is_maybe_v<T>) {
    return fits<typename T::value_type>(type);
  } else if constexpr (is_int32_v<T>) {
    return type == BT_INT32 || type == BT_INT16 || type == BT_INT8;
  } else if constexpr (std::is_same_v<T, double>) {
    return type == BT_DOUBLE || type == BT_FLOAT;
  } else {
    return type == wire_type<T>();
  }
}

}  // namespace bond
