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
  static constexpr void fields(auto&& visit) {
    visit(Gap<0>{});
    visit(Field<1, &T::rev_id>{"rev_id"});
    visit(Field<2, &T::sheet_id>{"sheet_id"});
    visit(Field<3, &T::name>{"name"});
    visit(Field<4, &T::quantity>{"quantity"}.stated());
    visit(Field<5, &T::weight_per_piece>{"weight_per_piece"}.stated());
    visit(Field<6, &T::mark>{"mark"});
    visit(Field<7, &T::description>{"description"});
    visit(Field<8, &T::length>{"length"}.stated());
    visit(Field<9, &T::properties>{"properties"});
    visit(Field<10, &T::diff_state>{"diff_state"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::BarSpacers> {
  using T = korvane::model::cad::BarSpacers;
  static constexpr std::string_view qualified_name = "korvane.model.cad.BarSpacers";
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::barspacers>{"barspacers"}); }
};
