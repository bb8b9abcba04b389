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
  static constexpr auto fields(auto&& list) {
    return list(
        Field<0, &T::rev_id>{"rev_id"}.stated(), Field<1, &T::sheet_id>{"sheet_id"}.stated(),
        Field<2, &T::comment>{"comment"}, Field<3, &T::member>{"member"},
        Field<4, &T::mark>{"mark"},
        // 5: free for good
        Field<6, &T::member_multiplier>{"member_multiplier"},
        Field<7, &T::fabrics_per_member>{"fabrics_per_member"},
        Field<8, &T::total_fabrics>{"total_fabrics"}, Field<9, &T::shape_code>{"shape_code"},
        Field<10, &T::parameters_exact>{"parameters_exact"},
        Field<11, &T::parameters_rounded>{"parameters_rounded"},
        Field<12, &T::standard_bend_diameter>{"standard_bend_diameter"}.stated(),
        Field<13, &T::type_name>{"type_name"}, Field<14, &T::width>{"width"}.stated(),
        Field<15, &T::length>{"length"}.stated(),
        Field<16, &T::fabric_weight>{"fabric_weight"}.stated(),
        Field<17, &T::multiplier>{"multiplier"}.stated(), Field<18, &T::mark_suffix>{"mark_suffix"},
        Field<19, &T::mark_prefix>{"mark_prefix"}, Field<20, &T::properties>{"properties"},
        // 21: free for good
        Field<22, &T::fabric_type>{"fabric_type"}, Field<23, &T::diff_state>{"diff_state"},
        Field<24, &T::geometry>{"geometry"}, Field<25, &T::textblock>{"textblock"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::Fabrics> {
  using T = korvane::model::cad::Fabrics;
  static constexpr std::string_view qualified_name = "korvane.model.cad.Fabrics";
  static constexpr auto fields(auto&& list) { return list(Field<0, &T::fabrics>{"fabrics"}); }
};

template <>
struct bond::Describe<korvane::model::cad::FabricRef> {
  using T = korvane::model::cad::FabricRef;
  static constexpr std::string_view qualified_name = "korvane.model.cad.FabricRef";
  using base = korvane::GenericReply;
  static constexpr auto fields(auto&& list) { return list(Field<0, &T::rev_id>{"rev_id"}); }
};

template <>
struct bond::Describe<korvane::model::cad::FabricInfo> {
  using T = korvane::model::cad::FabricInfo;
  static constexpr std::string_view qualified_name = "korvane.model.cad.FabricInfo";
  static constexpr auto fields(auto&& list) { return list(Field<0, &T::id>{"id"}); }
};
