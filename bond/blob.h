#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>

namespace bond {

/// An immutable sequence of bytes. Copies share the memory.
///
/// A blob made from a raw pointer does not own its bytes and must not outlive them; one made from a
/// shared pointer keeps them alive. Lengths are 32 bits wide. A default-made blob has no content.
class blob {
 public:
  using value_type = std::int8_t;
  using const_iterator = const char*;

  blob() = default;

  /// Views `length` bytes at `data` without owning them.
  blob(const void* data, std::uint32_t length)
      : content_(std::shared_ptr<const char[]>(), static_cast<const char*>(data)),
        length_(length) {}

  /// Owns the first `length` bytes of `buffer`.
  blob(std::shared_ptr<const char[]> buffer, std::uint32_t length)
      : blob(std::move(buffer), 0, length) {}

  /// Owns `length` bytes of `buffer`, beginning at `offset`.
  blob(std::shared_ptr<const char[]> buffer, std::uint32_t offset, std::uint32_t length)
      : length_(length) {
    const char* const first = buffer.get() + offset;
    content_ = std::shared_ptr<const char[]>(std::move(buffer), first);
  }

  blob(const blob&) = default;
  blob& operator=(const blob&) = default;

  blob(blob&& other) noexcept { swap(other); }
  blob& operator=(blob&& other) noexcept {
    blob(std::move(other)).swap(*this);
    return *this;
  }
  ~blob() = default;

  /// A copy of `length` bytes at `data` in memory of its own.
  static blob copy_of(const void* data, std::uint32_t length) {
    if (length == 0) return {};
    auto bytes = std::make_shared_for_overwrite<char[]>(length);
    std::memcpy(bytes.get(), data, length);
    return {std::move(bytes), length};
  }

  /// The part of `length` bytes from `offset` on, sharing the memory. Throws std::invalid_argument
  /// "Total of offset and length too large; must be less than or equal to length of blob".
  blob range(std::uint32_t offset, std::uint32_t length) const {
    if (offset > length_ || length > length_ - offset) {
      throw std::invalid_argument(
          "Total of offset and length too large; must be less than or equal to length of blob");
    }
    return {content_, offset, length};
  }

  /// All from `offset` on, sharing the memory. Throws std::invalid_argument
  /// "Offset too large; must be less than or equal to length of blob".
  blob range(std::uint32_t offset) const {
    if (offset > length_) {
      throw std::invalid_argument("Offset too large; must be less than or equal to length of blob");
    }
    return range(offset, length_ - offset);
  }

  const char* content() const noexcept { return content_.get(); }
  const void* data() const noexcept { return content_.get(); }
  std::uint32_t length() const noexcept { return length_; }
  std::uint32_t size() const noexcept { return length_; }
  bool empty() const noexcept { return length_ == 0; }
  const_iterator begin() const noexcept { return content(); }
  const_iterator end() const noexcept { return content() + length_; }

  void clear() noexcept { blob().swap(*this); }
  void swap(blob& other) noexcept {
    content_.swap(other.content_);
    std::swap(length_, other.length_);
  }

  /// Equal length and equal bytes.
  friend bool operator==(const blob& left, const blob& right) noexcept {
    return left.length_ == right.length_ &&
           (left.length_ == 0 || std::memcmp(left.content(), right.content(), left.length_) == 0);
  }

 private:
  /// Points to the first byte, and keeps the memory alive if the blob owns it.
  std::shared_ptr<const char[]> content_;
  std::uint32_t length_ = 0;
};

inline void swap(blob& left, blob& right) noexcept { left.swap(right); }

}  // namespace bond
