#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "bond/enumeration.h"
#include "contracts/cad/diff_state.h"

template <>
struct bond::DescribeEnum<korvane::model::cad::DiffState> {
  using E = korvane::model::cad::DiffState;
  static constexpr std::string_view qualified_name = "korvane.model.cad.DiffState";
  static constexpr std::array enumerators = {
      Enumerator<E>{"kModified", E::kModified},
      Enumerator<E>{"kRemoved", E::kRemoved},
      Enumerator<E>{"kAdded", E::kAdded},
  };
};
