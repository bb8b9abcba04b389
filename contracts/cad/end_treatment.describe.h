#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "bond/enumeration.h"
#include "contracts/cad/end_treatment.h"

template <>
struct bond::DescribeEnum<korvane::model::cad::EndTreatmentType> {
  using E = korvane::model::cad::EndTreatmentType;
  static constexpr std::string_view qualified_name = "korvane.model.cad.EndTreatmentType";
  static constexpr std::array enumerators = {
      Enumerator<E>{"kCollar", E::kCollar},
      Enumerator<E>{"kThread", E::kThread},
      Enumerator<E>{"kAnchorNut", E::kAnchorNut},
      Enumerator<E>{"kUnknown", E::kUnknown},
  };
};

template <>
struct bond::Describe<korvane::model::cad::EndTreatment> {
  using T = korvane::model::cad::EndTreatment;
  static constexpr std::string_view qualified_name = "korvane.model.cad.EndTreatment";
  static constexpr void fields(auto&& visit) {
    visit(Gap<0>{});
    visit(Field<1, &T::type>{"type"});
    visit(Field<2, &T::manufacturer>{"manufacturer"});
    visit(Field<3, &T::model>{"model"});
    visit(Field<4, &T::diameter>{"diameter"});
    visit(Field<5, &T::comment>{"comment"});
    visit(Field<6, &T::draw_pointer>{"draw_pointer"});
    visit(Field<7, &T::type_description>{"type_description"}.stated());
  }
};
