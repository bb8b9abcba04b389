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
  static constexpr std::array enumerators = {
      Enumerator<E>{"Length", E::Length},
      Enumerator<E>{"Radius", E::Radius},
      Enumerator<E>{"Angle", E::Angle},
  };
};

template <>
struct bond::Describe<korvane::model::cad::GeometryLabel> {
  using T = korvane::model::cad::GeometryLabel;
  static constexpr std::string_view qualified_name = "korvane.model.cad.GeometryLabel";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::type>{"type"}.stated());
    visit(Field<1, &T::text>{"text"});
  }
};

template <>
struct bond::DescribeEnum<korvane::model::cad::GeometryObjectType> {
  using E = korvane::model::cad::GeometryObjectType;
  static constexpr std::string_view qualified_name = "korvane.model.cad.GeometryObjectType";
  static constexpr std::array enumerators = {
      Enumerator<E>{"kLine", E::kLine},
      Enumerator<E>{"kArc", E::kArc},
      Enumerator<E>{"kKink", E::kKink},
  };
};

template <>
struct bond::Describe<korvane::model::cad::GeometryObject> {
  using T = korvane::model::cad::GeometryObject;
  static constexpr std::string_view qualified_name = "korvane.model.cad.GeometryObject";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::type>{"type"}.stated());
    visit(Field<1, &T::length>{"length"});
    visit(Field<2, &T::angle>{"angle"});
    visit(Field<3, &T::radius>{"radius"});
    visit(Field<4, &T::display_length>{"display_length"});
    visit(Field<5, &T::labels>{"labels"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::RebarGeometry> {
  using T = korvane::model::cad::RebarGeometry;
  static constexpr std::string_view qualified_name = "korvane.model.cad.RebarGeometry";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::objects>{"objects"});
    visit(Gap<1>{});
    visit(Field<2, &T::polyline>{"polyline"});
  }
};
