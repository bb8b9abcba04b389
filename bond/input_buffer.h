#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>

#include "bond/always_inline.h"
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

  /// Reads from `bytes`, whose memory it shares. A blob read from it shares that memory as well.
  // NOLINTNEXTLINE(google-explicit-constructor): implicit, as in the library.
  InputBuffer(const blob& bytes)
      : bytes_(bytes), shares_(true), at_(bytes.content()), end_(bytes.end()) {}

  /// Reads `length` bytes at `data`, which must outlive this buffer. A blob read from it is a
  /// copy, so that a record may outlive the bytes it was read from.
  InputBuffer(const void* data, std::uint32_t length)
      : bytes_(data, length), at_(bytes_.content()), end_(bytes_.end()) {}

  /// Reads a scalar in the representation that it has in memory: little-endian.
  template <class T>
  BOND_ALWAYS_INLINE void Read(T& value) {
    static_assert(std::is_arithmetic_v<T> || std::is_enum_v<T>);
    std::memcpy(&value, take(sizeof(T)), sizeof(T));
  }

  BOND_ALWAYS_INLINE void Read(std::string& text, std::uint32_t length) {
    const char* const from = take(length);
    // A short text has no memory of its own. Made anew it takes half the steps of an assignment,
    // which cannot know that neither has any.
    if (length <= short_text() && text.capacity() == short_text()) {
      std::destroy_at(&text);
      std::construct_at(&text, from, length);
    } else {
      text.assign(from, length);
    }
  }

  void Read(blob& bytes, std::uint32_t length) {
    const char* const from = take(length);
    bytes = shares_ ? bytes_.range(position() - length, length) : blob::copy_of(from, length);
  }

  /// Skips `length` bytes, or none if fewer are left: the next read then fails.
  void Skip(std::uint32_t length) noexcept {
    if (length <= remaining()) at_ += length;
  }

  /// Reads a variable-length integer of at most 3, 5 or 10 bytes for 16, 32 or 64 bits; the high bit
  /// of the last possible byte is ignored. Bounds are checked byte by byte near the end only.
  template <class T>
  BOND_ALWAYS_INLINE void ReadVariableUnsigned(T& value) {
    // Most are counts and lengths of one byte.
    if (at_ != end_ && (static_cast<std::uint8_t>(*at_) & 0x80U) == 0) {
      value = static_cast<std::uint8_t>(*at_++);
    } else {
      read_long_variable_unsigned(value);
    }
  }

  /// The next two bytes, the first as the lower half, without taking them; 0 if fewer are left.
  BOND_ALWAYS_INLINE std::uint16_t Peek() const noexcept {
    std::uint16_t pair = 0;
    if (remaining() >= sizeof(pair)) std::memcpy(&pair, at_, sizeof(pair));
    return pair;
  }
  /// Takes bytes that were seen, so that they need not be checked for.
  BOND_ALWAYS_INLINE void Take(std::uint32_t length) noexcept { at_ += length; }

  bool IsEof() const noexcept { return remaining() == 0; }
  std::uint32_t position() const noexcept {
    return static_cast<std::uint32_t>(at_ - bytes_.content());
  }
  std::uint32_t remaining() const noexcept { return static_cast<std::uint32_t>(end_ - at_); }

 private:
  /// What the library keeps in the text itself, so that making it does not throw.
  static std::size_t short_text() noexcept { return std::string().capacity(); }

  BOND_ALWAYS_INLINE const char* take(std::uint32_t length) {
    if (length > remaining()) fail(length);
    const char* const from = at_;
    at_ += length;
    return from;
  }

  template <class T>
  void read_long_variable_unsigned(T& value) {
    static_assert(std::is_unsigned_v<T>);
    constexpr std::uint32_t full_bytes = sizeof(T) * 8 / 7;
    const bool unchecked = remaining() > full_bytes;
    std::uint64_t result = 0;
    for (std::uint32_t i = 0; i <= full_bytes; ++i) {
      std::uint8_t byte = 0;
      if (unchecked) {
        byte = static_cast<std::uint8_t>(*at_++);
      } else {
        Read(byte);
      }
      result |= std::uint64_t{byte & 0x7FU} << (7 * i);
      if ((byte & 0x80U) == 0) break;
    }
    value = static_cast<T>(result);
  }

  [[noreturn]] void fail(std::uint32_t requested) const {
    throw StreamException("Read out of bounds: " + std::to_string(requested) +
                          " bytes requested, offset: " + std::to_string(position()) +
                          ", length: " + std::to_string(bytes_.size()));
  }

  blob bytes_;
  bool shares_ = false;
  const char* at_ = nullptr;
  const char* end_ = nullptr;
};

}  // namespace bond
