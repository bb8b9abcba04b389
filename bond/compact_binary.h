#pragma once

#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>

#include "bond/always_inline.h"
#include "bond/blob.h"
#include "bond/exception.h"
#include "bond/wire_type.h"

/// Compact Binary, version 1, after the public description of the Bond protocols
/// (https://microsoft.github.io/bond/manual/bond_cpp.html). The grammar of the bytes:
///
///     struct = base* field* BT_STOP
///     base   = field* BT_STOP_BASE
///     field  = header value
///     header = one byte:    type | ordinal << 5                    ordinals to 5
///            | two bytes:   type | 0xC0, ordinal                   to 255
///            | three bytes: type | 0xE0, ordinal as uint16         all others
///     value  = bool: one byte
///            | int8, uint8: one byte
///            | int: zigzag, then varint
///            | uint: varint
///            | float, double: IEEE 754, little-endian
///            | string: varint length, bytes
///            | wstring: varint length, two bytes each
///            | list, set: element type, varint count, values without headers
///            | map: key type, value type, varint count, key and value in turn
///            | struct
///     varint = seven bits a byte, least significant first, high bit set on all but the last
///
/// `total_bars` 12 under ordinal 9 is D0 09 18: type 16 | 0xC0, the ordinal, zigzag of 12.
namespace bond {

inline constexpr std::uint16_t v1 = 1;

/// How deep structs and containers may be nested when they are read, the outermost struct included.
/// JSON is read to the same depth.
inline constexpr std::uint32_t kMaxDepth = 64;

/// Writes values into a `Buffer`, which must outlive it.
template <class Buffer>
class CompactBinaryWriter {
 public:
  /// Throws std::invalid_argument for any version but 1: another would change the bytes.
  explicit CompactBinaryWriter(Buffer& output, std::uint16_t version = v1) : output_(output) {
    if (version != v1) throw std::invalid_argument("Compact Binary is written in version 1 only");
  }
  CompactBinaryWriter(const CompactBinaryWriter&) = delete;
  CompactBinaryWriter& operator=(const CompactBinaryWriter&) = delete;

  Buffer& GetBuffer() { return output_; }

  /// Ends a struct, or with `base` the part of a struct that belongs to its base.
  void WriteStructEnd(bool base = false) {
    output_.Write(static_cast<std::uint8_t>(base ? BT_STOP_BASE : BT_STOP));
  }

  void WriteFieldBegin(BondDataType type, std::uint16_t id) {
    if (id <= 5) {
      output_.Write(static_cast<std::uint8_t>(type | (id << 5)));
    } else if (id <= 0xFF) {
      output_.Write(static_cast<std::uint16_t>(type | 0xC0 | (id << 8)));
    } else {
      output_.Write(static_cast<std::uint8_t>(type | 0xE0));
      output_.Write(id);
    }
  }

  void WriteContainerBegin(std::uint32_t count, BondDataType element) {
    output_.Write(static_cast<std::uint8_t>(element));
    output_.WriteVariableUnsigned(count);
  }

  void WriteContainerBegin(std::uint32_t count, BondDataType key, BondDataType value) {
    output_.Write(static_cast<std::uint8_t>(key));
    WriteContainerBegin(count, value);
  }

  void Write(bool value) { output_.Write(static_cast<std::uint8_t>(value ? 1 : 0)); }
  void Write(double value) { output_.Write(value); }
  void Write(std::int32_t value) {
    const auto bits = static_cast<std::uint32_t>(value);
    output_.WriteVariableUnsigned((bits << 1) ^ static_cast<std::uint32_t>(value >> 31));
  }
  void Write(const std::string& value) {
    output_.WriteVariableUnsigned(static_cast<std::uint32_t>(value.size()));
    output_.Write(value.data(), static_cast<std::uint32_t>(value.size()));
  }
  /// Writes the bytes without a list header.
  void Write(const blob& value) { output_.Write(value); }

 private:
  Buffer& output_;
};

/// Reads values from a `Buffer` of its own. Copies read on from the same place independently.
template <class Buffer>
class CompactBinaryReader {
 public:
  /// Throws std::invalid_argument for any version but 1.
  explicit CompactBinaryReader(Buffer input, std::uint16_t version = v1)
      : input_(std::move(input)) {
    if (version != v1) throw std::invalid_argument("Compact Binary is read in version 1 only");
  }

  Buffer& GetBuffer() { return input_; }

  BOND_ALWAYS_INLINE void ReadFieldBegin(BondDataType& type, std::uint16_t& id) {
    std::uint8_t header = 0;
    input_.Read(header);
    type = static_cast<BondDataType>(header & 0x1FU);
    id = static_cast<std::uint16_t>(header >> 5);
    if (id == 6) {
      std::uint8_t ordinal = 0;
      input_.Read(ordinal);
      id = ordinal;
    } else if (id == 7) {
      input_.Read(id);
    }
  }

  /// Takes the header of a field of that type and ordinal, if `next` begins with it: what `Peek` of
  /// the buffer gave. One of another form or of a narrower type is not recognised.
  template <BondDataType Type, std::uint16_t Id>
  BOND_ALWAYS_INLINE bool TakeFieldBegin(std::uint16_t next) {
    if constexpr (Id <= 5) {
      if ((next & 0xFFU) != (Type | (Id << 5U))) return false;
      input_.Take(1);
    } else if constexpr (Id <= 0xFF) {
      if (next != (Type | 0xC0U | (Id << 8U))) return false;
      input_.Take(2);
    } else {
      return false;
    }
    return true;
  }

  /// Takes the beginning of a container of one element of that type, if it comes next.
  template <BondDataType Element>
  BOND_ALWAYS_INLINE bool TakeContainerOfOne() {
    if (input_.Peek() != (Element | 0x100U)) return false;
    input_.Take(2);
    return true;
  }

  /// In version 1 the top three bits of the element type are ignored.
  BOND_ALWAYS_INLINE void ReadContainerBegin(std::uint32_t& count, BondDataType& element) {
    std::uint8_t type = 0;
    input_.Read(type);
    element = static_cast<BondDataType>(type & 0x1FU);
    input_.ReadVariableUnsigned(count);
  }

  void ReadContainerBegin(std::uint32_t& count, BondDataType& key, BondDataType& value) {
    std::uint8_t types[2] = {};
    input_.Read(types[0]);
    input_.Read(types[1]);
    key = static_cast<BondDataType>(types[0]);
    value = static_cast<BondDataType>(types[1]);
    input_.ReadVariableUnsigned(count);
  }

  /// Any byte but 0 is true.
  void Read(bool& value) {
    std::uint8_t byte = 0;
    input_.Read(byte);
    value = byte != 0;
  }

  /// A double, or a float widened.
  BOND_ALWAYS_INLINE void Read(double& value, BondDataType type) {
    if (type == BT_FLOAT) {
      float narrow = 0;
      input_.Read(narrow);
      value = static_cast<double>(narrow);
    } else {
      input_.Read(value);
    }
  }

  /// A 32-bit integer, or one of 16 or 8 bits widened.
  BOND_ALWAYS_INLINE void Read(std::int32_t& value, BondDataType type) {
    if (type == BT_INT8) {
      std::int8_t narrow = 0;
      input_.Read(narrow);
      value = narrow;  // NOLINT(bugprone-signed-char-misuse): the sign is meant
    } else if (type == BT_INT16) {
      std::uint16_t bits = 0;
      input_.ReadVariableUnsigned(bits);
      value = static_cast<std::int16_t>((bits >> 1) ^ (0U - (bits & 1U)));
    } else {
      std::uint32_t bits = 0;
      input_.ReadVariableUnsigned(bits);
      value = static_cast<std::int32_t>((bits >> 1) ^ (0U - (bits & 1U)));
    }
  }

  BOND_ALWAYS_INLINE void Read(std::string& value) {
    std::uint32_t length = 0;
    input_.ReadVariableUnsigned(length);
    input_.Read(value, length);
  }

  void Read(blob& value, std::uint32_t length) { input_.Read(value, length); }

  /// Skips one value. A type code that does not exist takes no bytes.
  void Skip(BondDataType type) {
    switch (type) {
      case BT_BOOL:
      case BT_UINT8:
      case BT_INT8:
        input_.Skip(1);
        break;
      case BT_UINT16:
      case BT_UINT32:
      case BT_UINT64:
      case BT_INT16:
      case BT_INT32:
      case BT_INT64: {
        std::uint64_t value = 0;
        input_.ReadVariableUnsigned(value);
        break;
      }
      case BT_FLOAT:
        input_.Skip(sizeof(float));
        break;
      case BT_DOUBLE:
        input_.Skip(sizeof(double));
        break;
      case BT_STRING: {
        std::uint32_t length = 0;
        input_.ReadVariableUnsigned(length);
        input_.Skip(length);
        break;
      }
      case BT_WSTRING: {
        std::uint32_t length = 0;
        input_.ReadVariableUnsigned(length);
        input_.Skip(product(length, 2));
        break;
      }
      case BT_STRUCT:
        skip_struct();
        break;
      case BT_LIST:
      case BT_SET: {
        const Nesting nesting(*this);
        std::uint32_t count = 0;
        BondDataType element = BT_STOP;
        ReadContainerBegin(count, element);
        SkipElements(count, element);
        break;
      }
      case BT_MAP: {
        const Nesting nesting(*this);
        std::uint32_t count = 0;
        BondDataType key = BT_STOP;
        BondDataType value = BT_STOP;
        ReadContainerBegin(count, key, value);
        SkipEntries(count, key, value);
        break;
      }
      default:
        break;
    }
  }

  /// Skips `count` values of one type: bytes and floating point numbers in one step.
  void SkipElements(std::uint32_t count, BondDataType element) {
    switch (element) {
      case BT_BOOL:
      case BT_INT8:
        input_.Skip(count);
        break;
      case BT_FLOAT:
        input_.Skip(product(count, sizeof(float)));
        break;
      case BT_DOUBLE:
        input_.Skip(product(count, sizeof(double)));
        break;
      default:
        SkipEach(count, element);
    }
  }

  /// Skips `count` values of one type, one after the other.
  void SkipEach(std::uint32_t count, BondDataType element) {
    while_moving(count, [&] { Skip(element); });
  }

  /// Skips `count` pairs of key and value.
  void SkipEntries(std::uint32_t count, BondDataType key, BondDataType value) {
    while_moving(count, [&] {
      Skip(key);
      Skip(value);
    });
  }

  /// Skips the remaining fields of a struct, and its end.
  void SkipFields() {
    for (;;) {
      BondDataType type = BT_STOP;
      std::uint16_t id = 0;
      ReadFieldBegin(type, id);
      if (type == BT_STOP) return;
      if (type != BT_STOP_BASE) Skip(type);
    }
  }

  /// Guards one level of nesting while it lives. Throws CoreException "Max recursion depth
  /// exceeded".
  class Nesting {
   public:
    BOND_ALWAYS_INLINE explicit Nesting(CompactBinaryReader& reader) : reader_(reader) {
      if (reader_.depth_ == kMaxDepth) throw CoreException("Max recursion depth exceeded");
      ++reader_.depth_;
    }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;
    ~Nesting() { --reader_.depth_; }

   private:
    CompactBinaryReader& reader_;
  };

 private:
  void skip_struct() {
    const Nesting nesting(*this);
    SkipFields();
  }

  /// Ends at the first value that takes no bytes: none after it would take any, whatever count is
  /// claimed.
  template <class SkipOne>
  void while_moving(std::uint32_t count, SkipOne skip_one) {
    for (; count != 0; --count) {
      const std::uint32_t before = input_.position();
      skip_one();
      if (input_.position() == before) break;
    }
  }

  static std::uint32_t product(std::uint32_t count, std::uint32_t size) {
    if (count > std::numeric_limits<std::uint32_t>::max() / size) {
      throw std::overflow_error("Overflow on multiplication");
    }
    return count * size;
  }

  Buffer input_;
  std::uint32_t depth_ = 0;
};

}  // namespace bond
