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
  static constexpr auto fields(auto&& list) {
    return list(
        Field<0, &T::id>{"id", {"DbPrimaryKey", "AUTOINCREMENT"}}, Field<1, &T::mark>{"mark"},
        Field<2, &T::quantity>{"quantity"}, Field<3, &T::material_id>{"material_id"},
        Field<4, &T::family_name>{"family_name"}, Field<5, &T::type_name>{"type_name"},
        Field<6, &T::manufacturer>{"manufacturer"}, Field<7, &T::comment>{"comment"},
        Field<8, &T::keynote>{"keynote"}, Field<9, &T::model>{"model"}, Field<10, &T::url>{"url"},
        Field<11, &T::description>{"description"}, Field<12, &T::cost>{"cost"},
        Field<13, &T::order_number>{"order_number"}, Field<14, &T::catalog>{"catalog"},
        Field<15, &T::sheet_id>{"sheet_id"}, Field<16, &T::rev_id>{"rev_id"},
        Field<17, &T::mark_prefix>{"mark_prefix"}, Field<18, &T::mark_suffix>{"mark_suffix"},
        Field<19, &T::diff_state>{"diff_state"}, Field<20, &T::member>{"member"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::MountingParts> {
  using T = korvane::model::cad::MountingParts;
  static constexpr std::string_view qualified_name = "korvane.model.cad.MountingParts";
  static constexpr auto fields(auto&& list) {
    return list(Field<0, &T::mountingParts>{"mountingParts"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::MountingPartRef> {
  using T = korvane::model::cad::MountingPartRef;
  static constexpr std::string_view qualified_name = "korvane.model.cad.MountingPartRef";
  using base = korvane::GenericReply;
  static constexpr auto fields(auto&& list) { return list(Field<0, &T::rev_id>{"rev_id"}); }
};
