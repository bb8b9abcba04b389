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
  static constexpr auto fields(auto&& list) {
    return list(
        Field<0, &T::id>{"id", {"DbPrimaryKey", "AUTOINCREMENT"}},
        Field<1, &T::rev_id>{"rev_id"}.stated(), Field<2, &T::sheet_id>{"sheet_id"}.stated(),
        Field<3, &T::comment>{"comment"}, Field<4, &T::member>{"member"},
        Field<5, &T::mark>{"mark"}, Field<6, &T::material_id>{"material_id"},
        Field<7, &T::member_multiplier>{"member_multiplier"},
        Field<8, &T::bars_per_member>{"bars_per_member"}, Field<9, &T::total_bars>{"total_bars"},
        Field<10, &T::total_length>{"total_length"}, Field<11, &T::bar_diameter>{"bar_diameter"},
        Field<12, &T::shape_code>{"shape_code"},
        Field<13, &T::parameters_exact>{"parameters_exact"},
        Field<14, &T::parameters_rounded>{"parameters_rounded"},
        Field<15, &T::geometry>{"geometry"}, Field<16, &T::start_hook>{"start_hook"},
        Field<17, &T::end_hook>{"end_hook"},
        // 18, 19: free for good
        Field<20, &T::standard_bend_diameter>{"standard_bend_diameter"}.stated(),
        Field<21, &T::hook_bend_diameter>{"hook_bend_diameter"}, Field<22, &T::submark>{"submark"},
        Field<23, &T::mark_suffix>{"mark_suffix"}, Field<24, &T::mark_prefix>{"mark_prefix"},
        Field<25, &T::properties>{"properties"},
        Field<26, &T::out_of_plane_bend_diameter>{"out_of_plane_bend_diameter"},
        Field<27, &T::end_treatment_start>{"end_treatment_start"},
        Field<28, &T::end_treatment_end>{"end_treatment_end"},
        Field<29, &T::bar_type_name>{"bar_type_name"},
        // 30: free for good
        Field<31, &T::bar_type_mass_per_length>{"bar_type_mass_per_length"},
        Field<32, &T::diff_state>{"diff_state"}, Field<33, &T::textblock>{"textblock"},
        Field<34, &T::custom_text>{"custom_text"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::Rebars> {
  using T = korvane::model::cad::Rebars;
  static constexpr std::string_view qualified_name = "korvane.model.cad.Rebars";
  static constexpr auto fields(auto&& list) { return list(Field<0, &T::rebars>{"rebars"}); }
};

template <>
struct bond::Describe<korvane::model::cad::CreateRebars> {
  using T = korvane::model::cad::CreateRebars;
  static constexpr std::string_view qualified_name = "korvane.model.cad.CreateRebars";
  static constexpr auto fields(auto&& list) {
    return list(Field<0, &T::rev_id>{"rev_id"}.stated(),
                Field<1, &T::sheet_id>{"sheet_id"}.stated(), Field<2, &T::rebars>{"rebars"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::GenerateBendingSchedule> {
  using T = korvane::model::cad::GenerateBendingSchedule;
  static constexpr std::string_view qualified_name = "korvane.model.cad.GenerateBendingSchedule";
  static constexpr auto fields(auto&& list) { return list(); }
};
