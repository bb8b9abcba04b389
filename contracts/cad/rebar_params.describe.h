#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/cad/rebar_params.h"

template <>
struct bond::Describe<korvane::model::cad::RebarParams> {
  using T = korvane::model::cad::RebarParams;
  static constexpr std::string_view qualified_name = "korvane.model.cad.RebarParams";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::a>{"a"});
    visit(Field<1, &T::b>{"b"});
    visit(Field<2, &T::c>{"c"});
    visit(Field<3, &T::d>{"d"});
    visit(Field<4, &T::e>{"e"});
    visit(Field<5, &T::f>{"f"});
    visit(Field<6, &T::r>{"r"});
  }
};
