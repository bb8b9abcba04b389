#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/cad/rebar_params.h"

template <>
struct bond::Describe<korvane::model::cad::RebarParams> {
  using T = korvane::model::cad::RebarParams;
  static constexpr std::string_view qualified_name = "korvane.model.cad.RebarParams";
  static constexpr auto fields(auto&& list) {
    return list(Field<0, &T::a>{"a"}, Field<1, &T::b>{"b"}, Field<2, &T::c>{"c"},
                Field<3, &T::d>{"d"}, Field<4, &T::e>{"e"}, Field<5, &T::f>{"f"},
                Field<6, &T::r>{"r"});
  }
};
