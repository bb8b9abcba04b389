#pragma once

#include <cstdint>

#include "bond/kinds.h"

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

/// The code under which a value of `T` is written.
template <Bool T>
constexpr BondDataType wire_type() {
  return BT_BOOL;
}
template <class T>
requires Int32<T> || Enumeration<T>
constexpr BondDataType wire_type() { return BT_INT32; }
template <Double T>
constexpr BondDataType wire_type() {
  return BT_DOUBLE;
}
template <Text T>
constexpr BondDataType wire_type() {
  return BT_STRING;
}
template <Map T>
constexpr BondDataType wire_type() {
  return BT_MAP;
}
template <class T>
requires Blob<T> || Nullable<T> || List<T>
constexpr BondDataType wire_type() { return BT_LIST; }
template <Record T>
constexpr BondDataType wire_type() {
  return BT_STRUCT;
}
template <Maybe T>
constexpr BondDataType wire_type() {
  return wire_type<typename T::value_type>();
}

/// Whether a value of `T` can be read from the code `type`: its own, or a narrower one of its kind.
template <class T>
constexpr bool fits(BondDataType type) {
  return type == wire_type<T>();
}
template <class T>
requires Int32<T> || Enumeration<T>
constexpr bool fits(BondDataType type) {
  return type == BT_INT32 || type == BT_INT16 || type == BT_INT8;
}
template <Double T>
constexpr bool fits(BondDataType type) {
  return type == BT_DOUBLE || type == BT_FLOAT;
}
template <Maybe T>
constexpr bool fits(BondDataType type) {
  return fits<typename T::value_type>(type);
}

}  // namespace bond
