#pragma once

#include <cstdint>
#include <type_traits>
#include <utility>

#include "bond/describe.h"
#include "bond/kinds.h"

namespace bond::detail {

/// The most bytes that a value can take, found faster than those that it does take. What its type
/// says of that is known while compiling; what it refers to is asked of the value.
struct MostBytes {
  /// Without what is outside of the value itself.
  template <class T>
  static constexpr std::uint64_t of_type() {
    constexpr std::uint64_t kVarint = 5;
    if constexpr (Bool<T>) {
      return 1;
    } else if constexpr (Int32<T> || Enumeration<T> || Text<T>) {
      return kVarint;
    } else if constexpr (Double<T>) {
      return sizeof(double);
    } else if constexpr (Nullable<T>) {
      return 2 + (is_fixed<typename T::value_type>() ? of_type<typename T::value_type>() : 0);
    } else if constexpr (Maybe<T>) {
      return of_type<typename T::value_type>();
    } else if constexpr (Record<T>) {
      std::uint64_t bytes = 1;
      if constexpr (DescribedWithBase<T>) bytes += of_type<typename Describe<T>::base>();
      for_each_field<T>([&](const auto& field) {
        const std::uint64_t header = field.ordinal <= 5 ? 1 : field.ordinal <= 0xFF ? 2 : 3;
        bytes += header + of_type<member_type<T, decltype(field)>>();
      });
      return bytes;
    } else {
      return 2 + kVarint;
    }
  }

  /// Whether nothing is outside of a value of the type.
  template <class T>
  static constexpr bool is_fixed() {
    if constexpr (Nullable<T> || Maybe<T>) {
      return is_fixed<typename T::value_type>();
    } else if constexpr (Record<T>) {
      bool all = true;
      if constexpr (DescribedWithBase<T>) all = is_fixed<typename Describe<T>::base>();
      for_each_field<T>(
          [&](const auto& field) { all = all && is_fixed<member_type<T, decltype(field)>>(); });
      return all;
    } else {
      return Bool<T> || Int32<T> || Enumeration<T> || Double<T>;
    }
  }

  /// What is outside of the value; some of it once that is more than `enough`.
  template <class T>
  static std::uint64_t outside(const T& value, std::uint64_t enough) {
    if constexpr (is_fixed<T>()) {
      return 0;
    } else if constexpr (Text<T> || Blob<T>) {
      return value.size();
    } else if constexpr (Nullable<T>) {
      return value.hasvalue() ? all(*value, enough) : 0;
    } else if constexpr (Maybe<T>) {
      return value ? outside(value.value(), enough) : 0;
    } else if constexpr (Record<T>) {
      std::uint64_t bytes = 0;
      if constexpr (DescribedWithBase<T>) {
        bytes += outside<typename Describe<T>::base>(value, enough);
      }
      for_each_field<T>([&](const auto& field) { bytes += outside(value.*field.member, enough); });
      return bytes;
    } else if constexpr (Map<T>) {
      std::uint64_t bytes = 0;
      for (const auto& [key, mapped] : value) {
        if (bytes > enough) break;
        bytes += all(key, enough) + all(mapped, enough);
      }
      return bytes;
    } else {
      using Element = typename T::value_type;
      std::uint64_t bytes = value.size() * of_type<Element>();
      if constexpr (!is_fixed<Element>()) {
        for (const Element& element : value) {
          if (bytes > enough) break;
          bytes += outside(element, enough);
        }
      }
      return bytes;
    }
  }

  template <class T>
  static std::uint64_t all(const T& value, std::uint64_t enough) {
    return of_type<T>() + outside(value, enough);
  }

 private:
  template <class T, class Field>
  using member_type =
      std::remove_cvref_t<decltype(std::declval<const T&>().*std::remove_cvref_t<Field>::member)>;
};

/// The most bytes that `record` can take, or more than `enough` once it is found to be more.
template <class T>
[[gnu::flatten]] std::uint64_t most_bytes(const T& record, std::uint64_t enough) {
  return MostBytes::all(record, enough);
}

}  // namespace bond::detail
