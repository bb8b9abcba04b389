#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/cad/table_filter.h"

template <>
struct bond::Describe<korvane::model::cad::Filter> {
  using T = korvane::model::cad::Filter;
  static constexpr std::string_view qualified_name = "korvane.model.cad.Filter";
  static constexpr void fields(auto&&) {}
};

template <>
struct bond::Describe<korvane::model::cad::TableFilter> {
  using T = korvane::model::cad::TableFilter;
  static constexpr std::string_view qualified_name = "korvane.model.cad.TableFilter";
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::filters>{"filters"}); }
};
