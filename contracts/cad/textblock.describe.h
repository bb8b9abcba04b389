#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/cad/textblock.h"
#include "contracts/common/variant.describe.h"

template <>
struct bond::Describe<korvane::model::cad::Cell> {
  using T = korvane::model::cad::Cell;
  static constexpr std::string_view qualified_name = "korvane.model.cad.Cell";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::value>{"value"});
    visit(Field<1, &T::implicit_unit>{"implicit_unit"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::TextblockRow> {
  using T = korvane::model::cad::TextblockRow;
  static constexpr std::string_view qualified_name = "korvane.model.cad.TextblockRow";
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::cells>{"cells"}); }
};

template <>
struct bond::Describe<korvane::model::cad::TextblockTable> {
  using T = korvane::model::cad::TextblockTable;
  static constexpr std::string_view qualified_name = "korvane.model.cad.TextblockTable";
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::rows>{"rows"}); }
};

template <>
struct bond::Describe<korvane::model::cad::Textblock> {
  using T = korvane::model::cad::Textblock;
  static constexpr std::string_view qualified_name = "korvane.model.cad.Textblock";
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::items>{"items"}); }
};
