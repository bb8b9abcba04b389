#pragma once

#include <cstdint>
#include <string>
#include <type_traits>

#include "bond/describe.h"
#include "bond/enumeration.h"
#include "bond/wire_type.h"

namespace korvane::test {

/// Gives every field of a record a value that differs from its default and from every other's.
class Filler {
 public:
  template <class T>
  void fill(T& value) {
    ++count_;
    if constexpr (bond::is_nullable_v<T>) {
      fill(value.set());
    } else if constexpr (bond::is_maybe_v<T>) {
      fill(value.set_value());
    } else if constexpr (bond::is_vector_v<T>) {
      value.resize(2);
      for (auto& element : value) fill(element);
    } else if constexpr (bond::is_map_v<T>) {
      fill(value["key " + std::to_string(count_)]);
    } else if constexpr (bond::DescribedEnum<T>) {
      value = bond::DescribeEnum<T>::enumerators[1].value;
    } else if constexpr (bond::Described<T>) {
      if constexpr (bond::DescribedWithBase<T>) {
        fill(static_cast<typename bond::Describe<T>::base&>(value));
      }
      bond::for_each_field<T>([&](auto field) { fill(value.*field.member); });
    } else if constexpr (std::is_same_v<T, bool>) {
      value = !value;
    } else if constexpr (std::is_same_v<T, std::string>) {
      value = "text " + std::to_string(count_);
    } else if constexpr (std::is_same_v<T, bond::blob>) {
      const std::string bytes = std::string("\0\xFF", 2) + std::to_string(count_);
      value = bond::blob::copy_of(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    } else if constexpr (std::is_same_v<T, double>) {
      value = count_ + 0.25;
    } else {
      value = count_;
    }
  }

  template <class T>
  T make() {
    T record{};
    fill(record);
    return record;
  }

 private:
  std::int32_t count_ = 1000;
};

}  // namespace korvane::test
