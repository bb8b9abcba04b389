#pragma once

#include <string_view>

#include "bond/describe.h"
#include "contracts/common/optional_value.h"

template <class Item>
struct bond::Describe<korvane::OptionalValue<Item>> {
  using T = korvane::OptionalValue<Item>;
  using type_parameter = Item;
  static constexpr std::string_view qualified_name = "korvane.OptionalValue";
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::value>{"value"}); }
};
