#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/geometry/vector.h"

template <>
struct bond::Describe<korvane::model::geometry::Vector2> {
  using T = korvane::model::geometry::Vector2;
  static constexpr std::string_view qualified_name = "korvane.model.geometry.Vector2";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::x>{"x"});
    visit(Field<1, &T::y>{"y"});
  }
};

template <>
struct bond::Describe<korvane::model::geometry::Vector3> {
  using T = korvane::model::geometry::Vector3;
  static constexpr std::string_view qualified_name = "korvane.model.geometry.Vector3";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::x>{"x"});
    visit(Field<1, &T::y>{"y"});
    visit(Field<2, &T::z>{"z"});
  }
};
