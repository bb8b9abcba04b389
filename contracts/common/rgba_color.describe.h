#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/common/rgba_color.h"

template <>
struct bond::Describe<korvane::RGBA_Color> {
  using T = korvane::RGBA_Color;
  static constexpr std::string_view qualified_name = "korvane.RGBA_Color";
  static constexpr auto fields(auto&& list) {
    return list(Field<0, &T::r>{"r"}.stated(), Field<1, &T::g>{"g"}.stated(),
                Field<2, &T::b>{"b"}.stated(), Field<3, &T::a>{"a"}.stated());
  }
};
