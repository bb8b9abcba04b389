#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/common/rgba_color.h"

template <>
struct bond::Describe<korvane::RGBA_Color> {
  using T = korvane::RGBA_Color;
  static constexpr std::string_view qualified_name = "korvane.RGBA_Color";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::r>{"r"}.stated());
    visit(Field<1, &T::g>{"g"}.stated());
    visit(Field<2, &T::b>{"b"}.stated());
    visit(Field<3, &T::a>{"a"}.stated());
  }
};
