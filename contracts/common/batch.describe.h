#pragma once

#include <string_view>

#include "bond/describe.h"
#include "contracts/common/batch.h"

template <class Item>
struct bond::Describe<korvane::Batch<Item>> {
  using T = korvane::Batch<Item>;
  using type_parameter = Item;
  static constexpr std::string_view qualified_name = "korvane.Batch";
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::items>{"items"}); }
};
