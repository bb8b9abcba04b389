#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "bond/enumeration.h"
#include "contracts/geometry/curve.describe.h"
#include "contracts/geometry/loop.h"

template <>
struct bond::DescribeEnum<korvane::model::geometry::LoopKind> {
  using E = korvane::model::geometry::LoopKind;
  static constexpr std::string_view qualified_name = "korvane.model.geometry.LoopKind";
  static constexpr std::array enumerators = {
      Enumerator<E>{"kOuterLoop", E::kOuterLoop},
      Enumerator<E>{"kInnerLoop", E::kInnerLoop},
  };
};

template <>
struct bond::Describe<korvane::model::geometry::Loop> {
  using T = korvane::model::geometry::Loop;
  static constexpr std::string_view qualified_name = "korvane.model.geometry.Loop";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::kind>{"kind"}.stated());
    visit(Field<1, &T::curves>{"curves"});
  }
};
