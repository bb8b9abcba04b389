#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "bond/enumeration.h"
#include "contracts/cad/image_options.h"

template <>
struct bond::DescribeEnum<korvane::model::cad::DimTextStyle> {
  using E = korvane::model::cad::DimTextStyle;
  static constexpr std::string_view qualified_name = "korvane.model.cad.DimTextStyle";
  static constexpr std::array enumerators = {
      Enumerator<E>{"UseText", E::UseText},
      Enumerator<E>{"UseFormattedValue", E::UseFormattedValue},
  };
};

template <>
struct bond::Describe<korvane::model::cad::CreateImageOptions> {
  using T = korvane::model::cad::CreateImageOptions;
  static constexpr std::string_view qualified_name = "korvane.model.cad.CreateImageOptions";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::width>{"width"}.stated());
    visit(Field<1, &T::dpi>{"dpi"}.stated());
    visit(Field<2, &T::dim_text_style>{"dim_text_style"}.stated());
    visit(Field<3, &T::image_format>{"image_format"});
    visit(Field<4, &T::noshape_autogenerate_angle_dimensions_at_kink>{
        "noshape_autogenerate_angle_dimensions_at_kink"}
              .stated());
    visit(Field<5, &T::show_coordinate_system>{"show_coordinate_system"}.stated());
  }
};
