#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "bond/enumeration.h"
#include "contracts/common/variant.h"

template <>
struct bond::DescribeEnum<korvane::VariantKind> {
  using E = korvane::VariantKind;
  static constexpr std::string_view qualified_name = "korvane.VariantKind";
  static constexpr std::array enumerators = {
      Enumerator<E>{"kInt32", E::kInt32},   Enumerator<E>{"kDouble", E::kDouble},
      Enumerator<E>{"kString", E::kString}, Enumerator<E>{"kBlob", E::kBlob},
      Enumerator<E>{"kBool", E::kBool},
  };
};

template <>
struct bond::Describe<korvane::Variant> {
  using T = korvane::Variant;
  static constexpr std::string_view qualified_name = "korvane.Variant";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::value_int32>{"value_int32"});
    visit(Field<1, &T::value_double>{"value_double"});
    visit(Field<2, &T::value_string>{"value_string"});
    visit(Field<3, &T::value_blob>{"value_blob"});
    visit(Field<4, &T::bool_>{"bool_"});
  }
};
