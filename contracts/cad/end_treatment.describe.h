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
      Enumerator<E>{"kCollar", E::kCollar}, Enumerator<E>{"kThread", E::kThread},
      Enumerator<E>{"kAnchorNut", E::kAnchorNut}, Enumerator<E>{"kUnknown", E::kUnknown}};
};

template <>
struct bond::Describe<korvane::model::cad::EndTreatment> {
  using T = korvane::model::cad::EndTreatment;
  static constexpr std::string_view qualified_name = "korvane.model.cad.EndTreatment";
  static constexpr auto fields(auto&& list) {
    return list(  // 0: free for good
        Field<1, &T::type>{"type"}, Field<2, &T::manufacturer>{"manufacturer"},
        Field<3, &T::model>{"model"}, Field<4, &T::diameter>{"diameter"},
        Field<5, &T::comment>{"comment"}, Field<6, &T::draw_pointer>{"draw_pointer"},
        Field<7, &T::type_description>{"type_description"}.stated());
  }
};
