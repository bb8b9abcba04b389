#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/cad/diff_state.describe.h"
#include "contracts/cad/mounting_part.h"
#include "contracts/common/generic_reply.describe.h"

template <>
struct bond::Describe<korvane::model::cad::MountingPart> {
  using T = korvane::model::cad::MountingPart;
  static constexpr std::string_view qualified_name = "korvane.model.cad.MountingPart";
  static constexpr std::array attributes = {Attribute{"DbStoreRaw", "raw"}};
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::id>{"id", {"DbPrimaryKey", "AUTOINCREMENT"}});
    visit(Field<1, &T::mark>{"mark"});
    visit(Field<2, &T::quantity>{"quantity"});
    visit(Field<3, &T::material_id>{"material_id"});
    visit(Field<4, &T::family_name>{"family_name"});
    visit(Field<5, &T::type_name>{"type_name"});
    visit(Field<6, &T::manufacturer>{"manufacturer"});
    visit(Field<7, &T::comment>{"comment"});
    visit(Field<8, &T::keynote>{"keynote"});
    visit(Field<9, &T::model>{"model"});
    visit(Field<10, &T::url>{"url"});
    visit(Field<11, &T::description>{"description"});
    visit(Field<12, &T::cost>{"cost"});
    visit(Field<13, &T::order_number>{"order_number"});
    visit(Field<14, &T::catalog>{"catalog"});
    visit(Field<15, &T::sheet_id>{"sheet_id"});
    visit(Field<16, &T::rev_id>{"rev_id"});
    visit(Field<17, &T::mark_prefix>{"mark_prefix"});
    visit(Field<18, &T::mark_suffix>{"mark_suffix"});
    visit(Field<19, &T::diff_state>{"diff_state"});
    visit(Field<20, &T::member>{"member"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::MountingParts> {
  using T = korvane::model::cad::MountingParts;
  static constexpr std::string_view qualified_name = "korvane.model.cad.MountingParts";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::mountingParts>{"mountingParts"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::MountingPartRef> {
  using T = korvane::model::cad::MountingPartRef;
  static constexpr std::string_view qualified_name = "korvane.model.cad.MountingPartRef";
  using base = korvane::GenericReply;
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::rev_id>{"rev_id"}); }
};
