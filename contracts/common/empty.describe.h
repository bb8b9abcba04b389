#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/common/empty.h"

template <>
struct bond::Describe<korvane::Empty> {
  using T = korvane::Empty;
  static constexpr std::string_view qualified_name = "korvane.Empty";
  static constexpr void fields(auto&&) {}
};
