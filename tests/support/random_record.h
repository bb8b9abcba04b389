#pragma once

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <string_view>

#include "bond/describe.h"
#include "bond/enumeration.h"
#include "bond/kinds.h"

namespace korvane::test {

/// Makes records of values that are hard to encode: texts with escapes, control characters and
/// several scripts, numbers at the ends of their range, enumeration values without a name, fields
/// set and unset. Texts are UTF-8, numbers finite. The same seed makes the same records.
class RandomFiller {
 public:
  explicit RandomFiller(std::uint32_t seed) : engine_(seed) {}

  template <class T>
  T make() {
    T record{};
    fill(record);
    return record;
  }

  void fill(bond::Bool auto& value) { value = is_chosen(); }
  void fill(bond::Int32 auto& value) { value = integer(); }
  void fill(bond::Double auto& value) { value = number(); }
  void fill(bond::Text auto& value) { value = text(); }
  void fill(bond::Blob auto& value) {
    const std::string content = bytes();
    value = bond::blob::copy_of(content.data(), static_cast<std::uint32_t>(content.size()));
  }
  template <bond::Enumeration E>
  void fill(E& value) {
    const auto& known = bond::DescribeEnum<E>::enumerators;
    value = is_chosen() ? known[below(known.size())].value : static_cast<E>(integer());
  }
  void fill(bond::Nullable auto& value) {
    if (is_chosen()) fill(value.set());
  }
  void fill(bond::Maybe auto& value) {
    if (is_chosen()) fill(value.set_value());
  }
  void fill(bond::List auto& list) {
    list.resize(below(4));
    for (auto& element : list) fill(element);
  }
  void fill(bond::Map auto& map) {
    for (std::size_t count = below(4); count != 0; --count) fill(map[text()]);
  }
  template <bond::Record T>
  void fill(T& record) {
    if constexpr (bond::DescribedWithBase<T>) {
      fill(static_cast<typename bond::Describe<T>::base&>(record));
    }
    bond::for_each_field<T>([&](const auto& field) { fill_field(record.*field.member); });
  }

 private:
  std::size_t below(std::size_t limit) { return engine_() % limit; }
  bool is_chosen() { return below(2) == 0; }

  void fill_field(auto& value) { fill(value); }
  /// In bytes a field of either zero is left out, and so comes back without its sign.
  void fill_field(bond::Double auto& value) {
    fill(value);
    value += 0.0;
  }

  std::int32_t integer() {
    using Limits = std::numeric_limits<std::int32_t>;
    constexpr std::array kSpecial = {Limits::min(), Limits::max(), -1, 0, 1, 999};
    return is_chosen() ? kSpecial[below(kSpecial.size())] : static_cast<std::int32_t>(engine_());
  }

  double number() {
    using Limits = std::numeric_limits<double>;
    constexpr std::array kSpecial = {Limits::denorm_min(),
                                     Limits::min(),
                                     Limits::max(),
                                     Limits::lowest(),
                                     Limits::epsilon(),
                                     0.0,
                                     -0.0,
                                     0.1,
                                     -1e-5,
                                     1e15,
                                     999999999999999.9,
                                     1e22,
                                     9007199254740993.0,
                                     2147483648.0,
                                     100000.0};
    if (is_chosen()) return kSpecial[below(kSpecial.size())];
    for (;;) {
      const auto high = std::uint64_t{engine_()} << 32U;
      const auto any = std::bit_cast<double>(high | engine_());
      if (std::isfinite(any)) return any;
    }
  }

  std::string text() {
    constexpr std::array<std::string_view, 18> kPieces = {"plain",
                                                          "\"",
                                                          "\\",
                                                          "/",
                                                          "\n",
                                                          "\r\t",
                                                          "\b\f",
                                                          "\x01",
                                                          "\x1F",
                                                          "\x7F",
                                                          " ",
                                                          "{[,:]}",
                                                          "\xC3\xA4",
                                                          "\xE2\x82\xAC",
                                                          "\xF0\x9F\x98\x80",
                                                          "\xEF\xBF\xBF",
                                                          "\xE2\x80\xA8",
                                                          std::string_view("\0", 1)};
    std::string result;
    for (std::size_t count = below(6); count != 0; --count)
      result += kPieces[below(kPieces.size())];
    return result;
  }

  std::string bytes() {
    std::string result(below(8), '\0');
    for (char& byte : result) byte = static_cast<char>(engine_());
    return result;
  }

  std::mt19937 engine_;
};

}  // namespace korvane::test
