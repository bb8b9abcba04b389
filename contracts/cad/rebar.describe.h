#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/cad/diff_state.describe.h"
#include "contracts/cad/end_treatment.describe.h"
#include "contracts/cad/hook.describe.h"
#include "contracts/cad/rebar.h"
#include "contracts/cad/rebar_geometry.describe.h"
#include "contracts/cad/rebar_params.describe.h"
#include "contracts/cad/textblock.describe.h"
#include "contracts/common/variant.describe.h"

template <>
struct bond::Describe<korvane::model::cad::Rebar> {
  using T = korvane::model::cad::Rebar;
  static constexpr std::string_view qualified_name = "korvane.model.cad.Rebar";
  static constexpr std::array attributes = {Attribute{"DbStoreRaw", "raw"}};
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::id>{"id", {"DbPrimaryKey", "AUTOINCREMENT"}});
    visit(Field<1, &T::rev_id>{"rev_id"}.stated());
    visit(Field<2, &T::sheet_id>{"sheet_id"}.stated());
    visit(Field<3, &T::comment>{"comment"});
    visit(Field<4, &T::member>{"member"});
    visit(Field<5, &T::mark>{"mark"});
    visit(Field<6, &T::material_id>{"material_id"});
    visit(Field<7, &T::member_multiplier>{"member_multiplier"});
    visit(Field<8, &T::bars_per_member>{"bars_per_member"});
    visit(Field<9, &T::total_bars>{"total_bars"});
    visit(Field<10, &T::total_length>{"total_length"});
    visit(Field<11, &T::bar_diameter>{"bar_diameter"});
    visit(Field<12, &T::shape_code>{"shape_code"});
    visit(Field<13, &T::parameters_exact>{"parameters_exact"});
    visit(Field<14, &T::parameters_rounded>{"parameters_rounded"});
    visit(Field<15, &T::geometry>{"geometry"});
    visit(Field<16, &T::start_hook>{"start_hook"});
    visit(Field<17, &T::end_hook>{"end_hook"});
    visit(Gap<18, 19>{});
    visit(Field<20, &T::standard_bend_diameter>{"standard_bend_diameter"}.stated());
    visit(Field<21, &T::hook_bend_diameter>{"hook_bend_diameter"});
    visit(Field<22, &T::submark>{"submark"});
    visit(Field<23, &T::mark_suffix>{"mark_suffix"});
    visit(Field<24, &T::mark_prefix>{"mark_prefix"});
    visit(Field<25, &T::properties>{"properties"});
    visit(Field<26, &T::out_of_plane_bend_diameter>{"out_of_plane_bend_diameter"});
    visit(Field<27, &T::end_treatment_start>{"end_treatment_start"});
    visit(Field<28, &T::end_treatment_end>{"end_treatment_end"});
    visit(Field<29, &T::bar_type_name>{"bar_type_name"});
    visit(Gap<30>{});
    visit(Field<31, &T::bar_type_mass_per_length>{"bar_type_mass_per_length"});
    visit(Field<32, &T::diff_state>{"diff_state"});
    visit(Field<33, &T::textblock>{"textblock"});
    visit(Field<34, &T::custom_text>{"custom_text"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::Rebars> {
  using T = korvane::model::cad::Rebars;
  static constexpr std::string_view qualified_name = "korvane.model.cad.Rebars";
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::rebars>{"rebars"}); }
};

template <>
struct bond::Describe<korvane::model::cad::CreateRebars> {
  using T = korvane::model::cad::CreateRebars;
  static constexpr std::string_view qualified_name = "korvane.model.cad.CreateRebars";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::rev_id>{"rev_id"}.stated());
    visit(Field<1, &T::sheet_id>{"sheet_id"}.stated());
    visit(Field<2, &T::rebars>{"rebars"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::GenerateBendingSchedule> {
  using T = korvane::model::cad::GenerateBendingSchedule;
  static constexpr std::string_view qualified_name = "korvane.model.cad.GenerateBendingSchedule";
  static constexpr void fields(auto&&) {}
};
