#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "bond/enumeration.h"
#include "contracts/cad/hook.h"

template <>
struct bond::DescribeEnum<korvane::model::cad::HookDirection> {
  using E = korvane::model::cad::HookDirection;
  static constexpr std::string_view qualified_name = "korvane.model.cad.HookDirection";
  static constexpr std::array enumerators = {
      Enumerator<E>{"kLeft", E::kLeft},
      Enumerator<E>{"kRight", E::kRight},
  };
};

template <>
struct bond::DescribeEnum<korvane::model::cad::HookType> {
  using E = korvane::model::cad::HookType;
  static constexpr std::string_view qualified_name = "korvane.model.cad.HookType";
  static constexpr std::array enumerators = {
      Enumerator<E>{"kStandardHook", E::kStandardHook},
      Enumerator<E>{"kAngleHook", E::kAngleHook},
      Enumerator<E>{"k180Hook", E::k180Hook},
      Enumerator<E>{"kParallelHook", E::kParallelHook},
  };
};

template <>
struct bond::Describe<korvane::model::cad::Hook> {
  using T = korvane::model::cad::Hook;
  static constexpr std::string_view qualified_name = "korvane.model.cad.Hook";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::length>{"length"}.stated());
    visit(Field<1, &T::total_length>{"total_length"}.stated());
    visit(Field<2, &T::type>{"type"});
    visit(Field<3, &T::direction>{"direction"}.stated());
    visit(Field<4, &T::angle>{"angle"}.stated());
  }
};
