#pragma once

#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "bond/blob.h"

namespace bond {

namespace detail {

template <class T>
struct is_inline_in_nullable : std::bool_constant<!std::is_class_v<T>> {};
template <class T>
struct is_inline_in_nullable<std::vector<T>> : std::true_type {};
template <class K, class V>
struct is_inline_in_nullable<std::map<K, V>> : std::true_type {};

#if defined(__GLIBCXX__) && _GLIBCXX_USE_CXX11_ABI
/// An optional text in the room of a text. In this library a text begins with the address of its
/// characters, which is never null.
class OptionalText {
 public:
  OptionalText() noexcept { mark_as_none(); }
  OptionalText(const OptionalText& other) : OptionalText() {
    if (other) emplace(*other);
  }
  OptionalText(OptionalText&& other) noexcept : OptionalText() {
    if (other) emplace(std::move(*other));
  }
  OptionalText& operator=(const OptionalText& other) {
    if (this == &other) return *this;
    if (!other) {
      reset();
    } else {
      emplace(*other);
    }
    return *this;
  }
  OptionalText& operator=(OptionalText&& other) noexcept {
    if (!other) {
      reset();
    } else if (*this) {
      **this = std::move(*other);
    } else {
      emplace(std::move(*other));
    }
    return *this;
  }
  ~OptionalText() { reset(); }

  void emplace() noexcept {
    reset();
    new (room_) std::string();
  }
  /// The copy is made beforehand: when that throws, the room holds what it held.
  void emplace(const std::string& text) { emplace(std::string(text)); }
  void emplace(std::string&& text) noexcept {
    reset();
    new (room_) std::string(std::move(text));
  }
  void reset() noexcept {
    if (!*this) return;
    std::destroy_at(&**this);
    mark_as_none();
  }
  explicit operator bool() const noexcept {
    const void* characters = nullptr;
    std::memcpy(&characters, room_, sizeof(characters));
    return characters != nullptr;
  }
  std::string& operator*() noexcept { return *std::launder(reinterpret_cast<std::string*>(room_)); }
  const std::string& operator*() const noexcept {
    return *std::launder(reinterpret_cast<const std::string*>(room_));
  }

 private:
  void mark_as_none() noexcept { std::memset(room_, 0, sizeof(void*)); }

  alignas(std::string) unsigned char room_[sizeof(std::string)];
};
#else
using OptionalText = std::optional<std::string>;
#endif

/// An optional value on the heap, with deep copies: an unset field takes one pointer.
template <class T>
class HeapOptional {
 public:
  HeapOptional() = default;
  HeapOptional(const HeapOptional& other)
      : value_(other.value_ ? std::make_unique<T>(*other.value_) : nullptr) {}
  HeapOptional(HeapOptional&&) noexcept = default;
  HeapOptional& operator=(const HeapOptional& other) {
    if (this != &other) *this = HeapOptional(other);
    return *this;
  }
  HeapOptional& operator=(HeapOptional&&) noexcept = default;
  ~HeapOptional() = default;

  template <class... Args>
  void emplace(Args&&... args) {
    value_ = std::make_unique<T>(std::forward<Args>(args)...);
  }
  void reset() noexcept { value_.reset(); }
  explicit operator bool() const noexcept { return value_ != nullptr; }
  T& operator*() noexcept { return *value_; }
  const T& operator*() const noexcept { return *value_; }

 private:
  std::unique_ptr<T> value_;
};

}  // namespace detail

/// A value of `T`, or none. Scalars, texts and containers are stored in the object itself, blobs and
/// records on the heap. There is no implicit conversion from `T`: call `set`.
template <class T>
class nullable {
 public:
  using value_type = T;

  nullable() = default;
  explicit nullable(const T& value) { storage_.emplace(value); }
  explicit nullable(T&& value) { storage_.emplace(std::move(value)); }

  nullable(const nullable&) = default;
  nullable& operator=(const nullable&) = default;
  nullable(nullable&& other) noexcept : storage_(std::move(other.storage_)) { other.reset(); }
  nullable& operator=(nullable&& other) noexcept {
    if (this != &other) {
      storage_ = std::move(other.storage_);
      other.reset();
    }
    return *this;
  }
  ~nullable() = default;

  bool hasvalue() const noexcept { return static_cast<bool>(storage_); }
  bool empty() const noexcept { return !hasvalue(); }
  explicit operator bool() const noexcept { return hasvalue(); }

  /// The value, unchecked: undefined when there is none.
  T& value() noexcept { return *storage_; }
  const T& value() const noexcept { return *storage_; }
  T& operator*() noexcept { return *storage_; }
  const T& operator*() const noexcept { return *storage_; }
  T* operator->() noexcept { return &*storage_; }
  const T* operator->() const noexcept { return &*storage_; }

  /// Makes a default value if there is none; a value that is there is kept.
  T& set() {
    if (!storage_) storage_.emplace();
    return *storage_;
  }
  void set(const T& value) { storage_ ? void(*storage_ = value) : void(storage_.emplace(value)); }
  void set(T&& value) {
    storage_ ? void(*storage_ = std::move(value)) : void(storage_.emplace(std::move(value)));
  }

  void reset() noexcept { storage_.reset(); }
  void clear() noexcept { storage_.reset(); }
  void swap(nullable& other) noexcept { std::swap(storage_, other.storage_); }

  /// Both empty, or both set with equal values.
  friend bool operator==(const nullable& left, const nullable& right) {
    if (left.hasvalue() != right.hasvalue()) return false;
    return left.empty() || *left == *right;
  }

 private:
  using Storage = std::conditional_t<std::is_same_v<T, std::string>, detail::OptionalText,
                                     std::conditional_t<detail::is_inline_in_nullable<T>::value,
                                                        std::optional<T>, detail::HeapOptional<T>>>;

  Storage storage_;
};

template <class T>
void swap(nullable<T>& left, nullable<T>& right) noexcept {
  left.swap(right);
}

}  // namespace bond
