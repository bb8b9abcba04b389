#pragma once

#include <cstdint>
#include <string>

#include "bond/describe.h"
#include "bond/enumeration.h"
#include "bond/kinds.h"

namespace korvane::test {

/// Gives every field of a record a value that differs from its default and from every other's.
class Filler {
 public:
  template <class T>
  T make() {
    T record{};
    fill(record);
    return record;
  }

  void fill(bond::Bool auto& value) { value = !value; }
  void fill(bond::Int32 auto& value) { value = ++count_; }
  void fill(bond::Double auto& value) { value = ++count_ + 0.25; }
  void fill(bond::Text auto& value) { value = "text " + std::to_string(++count_); }
  void fill(bond::Blob auto& value) {
    const std::string bytes = std::string("\0\xFF", 2) + std::to_string(++count_);
    value = bond::blob::copy_of(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
  }
  template <bond::Enumeration E>
  void fill(E& value) {
    value = bond::DescribeEnum<E>::enumerators[1].value;
  }
  void fill(bond::Nullable auto& value) { fill(value.set()); }
  void fill(bond::Maybe auto& value) { fill(value.set_value()); }
  void fill(bond::List auto& list) {
    list.resize(2);
    for (auto& element : list) fill(element);
  }
  void fill(bond::Map auto& map) {
    for (int i = 0; i < 2; ++i) fill(map["key " + std::to_string(++count_)]);
  }
  template <bond::Record T>
  void fill(T& record) {
    if constexpr (bond::DescribedWithBase<T>) {
      fill(static_cast<typename bond::Describe<T>::base&>(record));
    }
    bond::for_each_field<T>([&](const auto& field) { fill(record.*field.member); });
  }

 private:
  std::int32_t count_ = 1000;
};

}  // namespace korvane::test
