#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/geometry/coordinate_system.h"
#include "contracts/geometry/point.describe.h"
#include "contracts/geometry/vector.describe.h"

template <>
struct bond::Describe<korvane::model::geometry::CoordinateSystem> {
  using T = korvane::model::geometry::CoordinateSystem;
  static constexpr std::string_view qualified_name = "korvane.model.geometry.CoordinateSystem";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::origin>{"origin"});
    visit(Field<1, &T::x>{"x"});
    visit(Field<2, &T::z>{"z"});
  }
};
