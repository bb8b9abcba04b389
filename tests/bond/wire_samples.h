#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "bond/wire_type.h"
#include "tests/bond/bytes.h"

namespace korvane::test {

/// The highest code that fits the five bits of a header; those from 19 on name no type.
inline constexpr int kHighestTypeCode = 31;

/// The bytes of one value of a wire type. A code that names no type has none.
inline std::string_view sample_value(int type) {
  switch (type) {
    case bond::BT_BOOL:
      return "01";
    case bond::BT_UINT8:
      return "05";
    case bond::BT_UINT16:
      return "AC 02";
    case bond::BT_UINT32:
      return "F0 A2 04";
    case bond::BT_UINT64:
      return "FF FF FF FF FF FF FF FF FF 01";
    case bond::BT_FLOAT:
      return "00 00 C0 3F";
    case bond::BT_DOUBLE:
      return "00 00 00 00 00 00 1D C0";
    case bond::BT_STRING:
      return "05 68 65 6C 6C 6F";
    case bond::BT_STRUCT:
      return "10 02 01 29 01 78 00";
    case bond::BT_LIST:
      return "10 02 02 03";
    case bond::BT_SET:
      return "09 02 01 61 01 62";
    case bond::BT_MAP:
      return "09 10 01 01 6B 08";
    case bond::BT_INT8:
      return "FE";
    case bond::BT_INT16:
      return "D7 04";
    case bond::BT_INT32:
      return "DF C5 08";
    case bond::BT_INT64:
      return "FF FF FF FF FF 3F";
    case bond::BT_WSTRING:
      return "02 68 00 69 00";
    default:
      return "";
  }
}

/// Header and value of a field, the header in its two-byte form.
inline std::string sample_field(int type, std::uint8_t ordinal) {
  std::string field;
  field += static_cast<char>(type | 0xC0);
  field += static_cast<char>(ordinal);
  return field + from_hex(sample_value(type));
}

}  // namespace korvane::test
