#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/geometry/point.h"

template <>
struct bond::Describe<korvane::model::geometry::Point3d> {
  using T = korvane::model::geometry::Point3d;
  static constexpr std::string_view qualified_name = "korvane.model.geometry.Point3d";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::x>{"x"});
    visit(Field<1, &T::y>{"y"});
    visit(Field<2, &T::z>{"z"});
  }
};

template <>
struct bond::Describe<korvane::model::geometry::Point2> {
  using T = korvane::model::geometry::Point2;
  static constexpr std::string_view qualified_name = "korvane.model.geometry.Point2";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::x>{"x"});
    visit(Field<1, &T::y>{"y"});
  }
};
