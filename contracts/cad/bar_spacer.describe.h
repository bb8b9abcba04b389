#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/cad/bar_spacer.h"
#include "contracts/cad/diff_state.describe.h"
#include "contracts/common/variant.describe.h"

template <>
struct bond::Describe<korvane::model::cad::BarSpacer> {
  using T = korvane::model::cad::BarSpacer;
  static constexpr std::string_view qualified_name = "korvane.model.cad.BarSpacer";
  static constexpr auto fields(auto&& list) {
    return list(  // 0: free for good
        Field<1, &T::rev_id>{"rev_id"}, Field<2, &T::sheet_id>{"sheet_id"},
        Field<3, &T::name>{"name"}, Field<4, &T::quantity>{"quantity"}.stated(),
        Field<5, &T::weight_per_piece>{"weight_per_piece"}.stated(), Field<6, &T::mark>{"mark"},
        Field<7, &T::description>{"description"}, Field<8, &T::length>{"length"}.stated(),
        Field<9, &T::properties>{"properties"}, Field<10, &T::diff_state>{"diff_state"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::BarSpacers> {
  using T = korvane::model::cad::BarSpacers;
  static constexpr std::string_view qualified_name = "korvane.model.cad.BarSpacers";
  static constexpr auto fields(auto&& list) { return list(Field<0, &T::barspacers>{"barspacers"}); }
};
