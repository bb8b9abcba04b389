#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/cad/fabric_type.h"
#include "contracts/cad/material.describe.h"
#include "contracts/common/generic_reply.describe.h"

template <>
struct bond::Describe<korvane::model::cad::ListenMatten> {
  using T = korvane::model::cad::ListenMatten;
  static constexpr std::string_view qualified_name = "korvane.model.cad.ListenMatten";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::along_distance>{"along_distance"}.stated());
    visit(Field<1, &T::along_inner_bar_diameter>{"along_inner_bar_diameter"}.stated());
    visit(Field<2, &T::along_border_bar_diameter>{"along_border_bar_diameter"}.stated());
    visit(Field<3, &T::along_left_border_bar_number>{"along_left_border_bar_number"}.stated());
    visit(Field<4, &T::along_right_border_bar_number>{"along_right_border_bar_number"}.stated());
    visit(Field<5, &T::along_start_overhang>{"along_start_overhang"}.stated());
    visit(Field<6, &T::along_end_overhang>{"along_end_overhang"}.stated());
    visit(Field<7, &T::across_distance>{"across_distance"}.stated());
    visit(Field<8, &T::across_inner_bar_diameter>{"across_inner_bar_diameter"}.stated());
    visit(Field<9, &T::across_border_bar_diameter>{"across_border_bar_diameter"}.stated());
    visit(Field<10, &T::across_start_border_bar_number>{"across_start_border_bar_number"}.stated());
    visit(Field<11, &T::across_end_border_bar_number>{"across_end_border_bar_number"}.stated());
    visit(Field<12, &T::across_left_overhang>{"across_left_overhang"}.stated());
    visit(Field<13, &T::across_right_overhang>{"across_right_overhang"}.stated());
  }
};

template <>
struct bond::Describe<korvane::model::cad::FabricType> {
  using T = korvane::model::cad::FabricType;
  static constexpr std::string_view qualified_name = "korvane.model.cad.FabricType";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::id>{"id"});
    visit(Field<1, &T::uid>{"uid"});
    visit(Field<2, &T::sheet_mass>{"sheet_mass"}.stated());
    visit(Field<3, &T::overall_length>{"overall_length"}.stated());
    visit(Field<4, &T::overall_width>{"overall_width"}.stated());
    visit(Field<5, &T::type_name>{"type_name"});
    visit(Field<6, &T::material>{"material"});
    visit(Field<7, &T::description>{"description"});
    visit(Field<8, &T::list_fabric>{"list_fabric"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::FabricTypeRef> {
  using T = korvane::model::cad::FabricTypeRef;
  static constexpr std::string_view qualified_name = "korvane.model.cad.FabricTypeRef";
  using base = korvane::GenericReply;
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::id>{"id"});
    visit(Field<1, &T::uid>{"uid"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::ListFabricType> {
  using T = korvane::model::cad::ListFabricType;
  static constexpr std::string_view qualified_name = "korvane.model.cad.ListFabricType";
  static constexpr void fields(auto&&) {}
};
