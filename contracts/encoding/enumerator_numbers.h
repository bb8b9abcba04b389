#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "bond/enumeration.h"

namespace korvane::encoding::detail {

/// An enumerator, whatever its enumeration.
struct EnumeratorNumber {
  std::string_view name;
  std::int32_t number;
};

template <bond::DescribedEnum E>
inline constexpr auto enumerator_numbers_v = [] {
  constexpr auto& enumerators = bond::DescribeEnum<E>::enumerators;
  std::array<EnumeratorNumber, enumerators.size()> numbers{};
  std::transform(enumerators.begin(), enumerators.end(), numbers.begin(), [](const auto& each) {
    return EnumeratorNumber{each.name, static_cast<std::int32_t>(each.value)};
  });
  return numbers;
}();

}  // namespace korvane::encoding::detail
