#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "bond/always_inline.h"
#include "bond/blob.h"

/// What a writer is given in the place of an output whose size is known, or is to be found.
namespace bond {

/// Stands in for a buffer: counts the bytes and keeps none.
class ByteCount {
 public:
  template <class T>
  void Write(const T&) {
    bytes_ += sizeof(T);
  }
  void Write(const void*, std::uint32_t size) { bytes_ += size; }
  void Write(const blob& bytes) { bytes_ += bytes.size(); }
  template <class T>
  void WriteVariableUnsigned(T value) {
    bytes_ += (static_cast<std::uint64_t>(std::bit_width(static_cast<T>(value | 1))) + 6) / 7;
  }

  std::uint64_t size() const { return bytes_; }

 private:
  std::uint64_t bytes_ = 0;
};

/// Stands in for a buffer: writes to memory that has room for everything, without checking bounds.
class ByteCursor {
 public:
  explicit ByteCursor(char* begin) : at_(begin) {}

  /// Where the next byte goes.
  char* at() const { return at_; }

  template <class T>
  void Write(const T& value) {
    std::memcpy(at_, &value, sizeof(T));
    at_ += sizeof(T);
  }
  void Write(const void* data, std::uint32_t size) {
    copy(static_cast<const char*>(data), size);
    at_ += size;
  }
  void Write(const blob& bytes) { Write(bytes.data(), bytes.size()); }
  template <class T>
  void WriteVariableUnsigned(T value) {
    for (; value >= 0x80; value = static_cast<T>(value >> 7)) {
      Write(static_cast<std::uint8_t>(value | 0x80));
    }
    Write(static_cast<std::uint8_t>(value));
  }

 private:
  /// Most texts are short, and a call takes longer than they do.
  BOND_ALWAYS_INLINE void copy(const char* from, std::uint32_t size) {
    if (size > 16) {
      std::memcpy(at_, from, size);
    } else if (size >= 8) {
      copy_ends<std::uint64_t>(from, size);
    } else if (size >= 4) {
      copy_ends<std::uint32_t>(from, size);
    } else {
      for (std::uint32_t i = 0; i < size; ++i) at_[i] = from[i];
    }
  }
  /// The first and the last bytes, as many as a `Word` has; they may overlap.
  template <class Word>
  BOND_ALWAYS_INLINE void copy_ends(const char* from, std::uint32_t size) {
    Word first = 0;
    Word last = 0;
    std::memcpy(&first, from, sizeof(Word));
    std::memcpy(&last, from + size - sizeof(Word), sizeof(Word));
    std::memcpy(at_, &first, sizeof(Word));
    std::memcpy(at_ + size - sizeof(Word), &last, sizeof(Word));
  }

  char* at_;
};

}  // namespace bond
