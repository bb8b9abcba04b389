#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "bond/always_inline.h"
#include "bond/blob.h"

namespace bond {

static_assert(std::endian::native == std::endian::little,
              "scalars have the same representation in memory and on the wire");

/// Bytes being written: one growing block. Not copyable; used by one thread.
///
/// Nothing is allocated before the first write. The block starts at 4096 bytes, or at just the size
/// that is asked for at once, and grows by half. Throws std::bad_alloc for a block beyond 2^31 - 1
/// bytes.
class OutputBuffer {
 public:
  OutputBuffer() = default;
  OutputBuffer(const OutputBuffer&) = delete;
  OutputBuffer& operator=(const OutputBuffer&) = delete;
  OutputBuffer(OutputBuffer&&) = default;
  OutputBuffer& operator=(OutputBuffer&&) = default;
  ~OutputBuffer() = default;

  /// Writes a scalar in the representation that it has in memory: little-endian.
  template <class T>
  void Write(const T& value) {
    static_assert(std::is_arithmetic_v<T> || std::is_enum_v<T>);
    std::memcpy(reserve(sizeof(T)), &value, sizeof(T));
    size_ += static_cast<std::uint32_t>(sizeof(T));
  }

  void Write(const void* data, std::uint32_t size) {
    if (size == 0) return;
    std::memcpy(reserve(size), data, size);
    size_ += size;
  }

  void Write(const blob& bytes) { Write(bytes.data(), bytes.size()); }

  /// Seven bits to the byte, least significant group first, the high bit set on all but the last.
  template <class T>
  void WriteVariableUnsigned(T value) {
    static_assert(std::is_unsigned_v<T>);
    constexpr std::uint32_t max_bytes = (sizeof(T) * 8 + 6) / 7;
    char* const begin = reserve(max_bytes);
    char* out = begin;
    for (; value >= 0x80; value = static_cast<T>(value >> 7)) {
      *out++ = static_cast<char>(static_cast<unsigned char>(value | 0x80));
    }
    *out++ = static_cast<char>(static_cast<unsigned char>(value));
    size_ += static_cast<std::uint32_t>(out - begin);
  }

  /// Appends `bytes` bytes of unspecified content, which the caller then fills.
  BOND_ALWAYS_INLINE char* Extend(std::uint64_t bytes) {
    if (bytes > capacity_ - size_) grow(bytes, size_ == 0 ? bytes : kFirstCapacity);
    char* const begin = block_.get() + size_;
    size_ += static_cast<std::uint32_t>(bytes);
    return begin;
  }

  /// All bytes written so far, as one block that shares this buffer's memory. Later writes do not
  /// change it: they go after it or into a new block.
  // coverage: an encoded record is never empty; tests of the empty buffer take it where the
  // compiler has inlined it
  blob GetBuffer() const& { return size_ == 0 ? blob() : blob(block_, size_); }

  /// The same, and leaves this buffer empty. An addition to the library's interface: it spares
  /// counting the owners of the memory up and down.
  blob GetBuffer() && {
    capacity_ = 0;
    return {std::move(block_), std::exchange(size_, 0)};
  }

 private:
  static constexpr std::uint64_t kFirstCapacity = 4096;
  static constexpr std::uint64_t kMaxCapacity = 0x7FFFFFFF;

  char* reserve(std::uint32_t bytes) {
    if (bytes > capacity_ - size_) grow(bytes, kFirstCapacity);
    return block_.get() + size_;
  }

  BOND_ALWAYS_INLINE void grow(std::uint64_t bytes, std::uint64_t least) {
    if (bytes > kMaxCapacity - size_) throw std::bad_alloc();
    const std::uint64_t wanted =
        std::max({size_ + bytes, least, std::uint64_t{capacity_} + capacity_ / 2});
    const auto capacity = static_cast<std::uint32_t>(std::min(wanted, kMaxCapacity));
    auto block = std::make_shared_for_overwrite<char[]>(capacity);
    if (size_ != 0) std::memcpy(block.get(), block_.get(), size_);
    block_ = std::move(block);
    capacity_ = capacity;
  }

  std::shared_ptr<char[]> block_;
  std::uint32_t size_ = 0;
  std::uint32_t capacity_ = 0;
};

}  // namespace bond
