#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

#include "bond/blob.h"
#include "bond/exception.h"

namespace bond {

/// Bytes being read, with a position. Copies share the bytes and have a position of their own.
///
/// A read that asks for more bytes than are left throws StreamException "Read out of bounds: <n>
/// bytes requested, offset: <position>, length: <length>" and leaves the position where it was.
/// Nothing is allocated for a length that the remaining bytes cannot hold.
class InputBuffer {
 public:
  InputBuffer() = default;

  /// Reads from `bytes` and shares its memory; a blob read out of it does as well if it owns any.
  // NOLINTNEXTLINE(google-explicit-constructor): a blob stands for its reader, as in the library.
  InputBuffer(const blob& bytes) : bytes_(bytes), shares_(true) {}

  /// Reads `length` bytes at `data`, which must outlive this buffer. A blob read out of it is a
  /// copy, so that a record may outlive the bytes it came from.
  InputBuffer(const void* data, std::uint32_t length) : bytes_(data, length) {}

  /// Reads a scalar as it stands in memory, little-endian.
  template <class T>
  void Read(T& value) {
    static_assert(std::is_arithmetic_v<T> || std::is_enum_v<T>);
    std::memcpy(&value, take(sizeof(T)), sizeof(T));
  }

  void Read(std::string& text, std::uint32_t length) { text.assign(take(length), length); }

  void Read(blob& bytes, std::uint32_t length) {
    const char* const from = take(length);
    bytes = shares_ ? bytes_.range(position_ - length, length) : blob::copy_of(from, length);
  }

  /// Moves `length` bytes on. Past the end it does nothing at all: the next read then fails.
  void Skip(std::uint32_t length) noexcept {
    if (length <= remaining()) position_ += length;
  }

  /// Reads a variable-length integer. With enough bytes left it takes at most 3, 5 or 10 of them
  /// for 16, 32 or 64 bits, whatever the last one's high bit says; near the end it goes byte by
  /// byte.
  template <class T>
  void ReadVariableUnsigned(T& value) {
    static_assert(std::is_unsigned_v<T>);
    constexpr std::uint32_t full_bytes = sizeof(T) * 8 / 7;
    const bool unchecked = remaining() > full_bytes;
    std::uint64_t result = 0;
    for (std::uint32_t i = 0; i <= full_bytes; ++i) {
      std::uint8_t byte = 0;
      if (unchecked) {
        byte = static_cast<std::uint8_t>(bytes_.content()[position_++]);
      } else {
        Read(byte);
      }
      result |= std::uint64_t{byte & 0x7FU} << (7 * i);
      if ((byte & 0x80U) == 0) break;
    }
    value = static_cast<T>(result);
  }

  bool IsEof() const noexcept { return remaining() == 0; }
  std::uint32_t position() const noexcept { return position_; }
  std::uint32_t remaining() const noexcept { return bytes_.size() - position_; }

 private:
  const char* take(std::uint32_t length) {
    if (length > remaining()) fail(length);
    const char* const from = bytes_.content() + position_;
    position_ += length;
    return from;
  }

  [[noreturn]] void fail(std::uint32_t requested) const {
    throw StreamException("Read out of bounds: " + std::to_string(requested) +
                          " bytes requested, offset: " + std::to_string(position_) +
                          ", length: " + std::to_string(bytes_.size()));
  }

  blob bytes_;
  bool shares_ = false;
  std::uint32_t position_ = 0;
};

}  // namespace bond
