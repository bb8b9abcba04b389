#pragma once

#include <new>
#include <optional>
#include <utility>

#include "bond/exception.h"

namespace bond {

/// A field whose default is `nothing`: it holds a value or nothing, and nothing is unequal to every
/// value of `T`.
template <class T>
class maybe {
 public:
  using value_type = T;

  maybe() = default;
  explicit maybe(const T& value) : value_(value) {}
  explicit maybe(T&& value) : value_(std::move(value)) {}

  maybe(const maybe&) = default;
  maybe& operator=(const maybe&) = default;
  maybe(maybe&& other) noexcept : value_(std::move(other.value_)) { other.set_nothing(); }
  maybe& operator=(maybe&& other) noexcept {
    if (this != &other) {
      value_ = std::move(other.value_);
      other.set_nothing();
    }
    return *this;
  }
  ~maybe() = default;

  maybe& operator=(const T& value) {
    value_.emplace(value);
    return *this;
  }
  maybe& operator=(T&& value) {
    value_.emplace(std::move(value));
    return *this;
  }

  bool is_nothing() const noexcept { return !value_.has_value(); }
  explicit operator bool() const noexcept { return value_.has_value(); }
  void set_nothing() noexcept { value_.reset(); }

  /// Makes a default value when there is nothing; a value that is there is kept.
  T& set_value() { return value_ ? *value_ : value_.emplace(); }

  /// The value. Throws CoreException "Field value is 'nothing'" when there is none.
  T& value() {
    require_value();
    return *value_;
  }
  const T& value() const {
    require_value();
    return *value_;
  }

  /// The value, unchecked: undefined when there is nothing.
  T& value(std::nothrow_t) noexcept { return *value_; }
  const T& value(std::nothrow_t) const noexcept { return *value_; }

  friend bool operator==(const maybe& left, const maybe& right) {
    return left.value_ == right.value_;
  }
  /// Nothing never equals a value.
  friend bool operator==(const maybe& left, const T& right) { return left.value_ == right; }

 private:
  void require_value() const {
    if (is_nothing()) throw CoreException("Field value is 'nothing'");
  }

  std::optional<T> value_;
};

}  // namespace bond
