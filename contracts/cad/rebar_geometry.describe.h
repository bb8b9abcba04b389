#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "bond/enumeration.h"
#include "contracts/cad/rebar_geometry.h"
#include "contracts/geometry/point.describe.h"

template <>
struct bond::DescribeEnum<korvane::model::cad::GeometryLabelType> {
  using E = korvane::model::cad::GeometryLabelType;
  static constexpr std::string_view qualified_name = "korvane.model.cad.GeometryLabelType";
  static constexpr std::array enumerators = {Enumerator<E>{"Length", E::Length},
                                             Enumerator<E>{"Radius", E::Radius},
                                             Enumerator<E>{"Angle", E::Angle}};
};

template <>
struct bond::Describe<korvane::model::cad::GeometryLabel> {
  using T = korvane::model::cad::GeometryLabel;
  static constexpr std::string_view qualified_name = "korvane.model.cad.GeometryLabel";
  static constexpr auto fields(auto&& list) {
    return list(Field<0, &T::type>{"type"}.stated(), Field<1, &T::text>{"text"});
  }
};

template <>
struct bond::DescribeEnum<korvane::model::cad::GeometryObjectType> {
  using E = korvane::model::cad::GeometryObjectType;
  static constexpr std::string_view qualified_name = "korvane.model.cad.GeometryObjectType";
  static constexpr std::array enumerators = {Enumerator<E>{"kLine", E::kLine},
                                             Enumerator<E>{"kArc", E::kArc},
                                             Enumerator<E>{"kKink", E::kKink}};
};

template <>
struct bond::Describe<korvane::model::cad::GeometryObject> {
  using T = korvane::model::cad::GeometryObject;
  static constexpr std::string_view qualified_name = "korvane.model.cad.GeometryObject";
  static constexpr auto fields(auto&& list) {
    return list(Field<0, &T::type>{"type"}.stated(), Field<1, &T::length>{"length"},
                Field<2, &T::angle>{"angle"}, Field<3, &T::radius>{"radius"},
                Field<4, &T::display_length>{"display_length"}, Field<5, &T::labels>{"labels"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::RebarGeometry> {
  using T = korvane::model::cad::RebarGeometry;
  static constexpr std::string_view qualified_name = "korvane.model.cad.RebarGeometry";
  static constexpr auto fields(auto&& list) {
    return list(Field<0, &T::objects>{"objects"},
                // 1: free for good
                Field<2, &T::polyline>{"polyline"});
  }
};
