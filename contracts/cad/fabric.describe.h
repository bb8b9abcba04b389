#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/cad/diff_state.describe.h"
#include "contracts/cad/fabric.h"
#include "contracts/cad/fabric_type.describe.h"
#include "contracts/cad/rebar_geometry.describe.h"
#include "contracts/cad/rebar_params.describe.h"
#include "contracts/cad/textblock.describe.h"
#include "contracts/common/generic_reply.describe.h"
#include "contracts/common/variant.describe.h"

template <>
struct bond::Describe<korvane::model::cad::Fabric> {
  using T = korvane::model::cad::Fabric;
  static constexpr std::string_view qualified_name = "korvane.model.cad.Fabric";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::rev_id>{"rev_id"}.stated());
    visit(Field<1, &T::sheet_id>{"sheet_id"}.stated());
    visit(Field<2, &T::comment>{"comment"});
    visit(Field<3, &T::member>{"member"});
    visit(Field<4, &T::mark>{"mark"});
    visit(Gap<5>{});
    visit(Field<6, &T::member_multiplier>{"member_multiplier"});
    visit(Field<7, &T::fabrics_per_member>{"fabrics_per_member"});
    visit(Field<8, &T::total_fabrics>{"total_fabrics"});
    visit(Field<9, &T::shape_code>{"shape_code"});
    visit(Field<10, &T::parameters_exact>{"parameters_exact"});
    visit(Field<11, &T::parameters_rounded>{"parameters_rounded"});
    visit(Field<12, &T::standard_bend_diameter>{"standard_bend_diameter"}.stated());
    visit(Field<13, &T::type_name>{"type_name"});
    visit(Field<14, &T::width>{"width"}.stated());
    visit(Field<15, &T::length>{"length"}.stated());
    visit(Field<16, &T::fabric_weight>{"fabric_weight"}.stated());
    visit(Field<17, &T::multiplier>{"multiplier"}.stated());
    visit(Field<18, &T::mark_suffix>{"mark_suffix"});
    visit(Field<19, &T::mark_prefix>{"mark_prefix"});
    visit(Field<20, &T::properties>{"properties"});
    visit(Gap<21>{});
    visit(Field<22, &T::fabric_type>{"fabric_type"});
    visit(Field<23, &T::diff_state>{"diff_state"});
    visit(Field<24, &T::geometry>{"geometry"});
    visit(Field<25, &T::textblock>{"textblock"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::Fabrics> {
  using T = korvane::model::cad::Fabrics;
  static constexpr std::string_view qualified_name = "korvane.model.cad.Fabrics";
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::fabrics>{"fabrics"}); }
};

template <>
struct bond::Describe<korvane::model::cad::FabricRef> {
  using T = korvane::model::cad::FabricRef;
  static constexpr std::string_view qualified_name = "korvane.model.cad.FabricRef";
  using base = korvane::GenericReply;
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::rev_id>{"rev_id"}); }
};

template <>
struct bond::Describe<korvane::model::cad::FabricInfo> {
  using T = korvane::model::cad::FabricInfo;
  static constexpr std::string_view qualified_name = "korvane.model.cad.FabricInfo";
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::id>{"id"}); }
};
