#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "bond/enumeration.h"
#include "contracts/geometry/curve.h"
#include "contracts/geometry/point.describe.h"

template <>
struct bond::Describe<korvane::model::geometry::Line> {
  using T = korvane::model::geometry::Line;
  static constexpr std::string_view qualified_name = "korvane.model.geometry.Line";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::from>{"from"});
    visit(Field<1, &T::to>{"to"});
  }
};

template <>
struct bond::Describe<korvane::model::geometry::Arc> {
  using T = korvane::model::geometry::Arc;
  static constexpr std::string_view qualified_name = "korvane.model.geometry.Arc";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::from>{"from"});
    visit(Field<1, &T::to>{"to"});
    visit(Field<2, &T::third_point>{"third_point"});
  }
};

template <>
struct bond::Describe<korvane::model::geometry::NurbsCurve> {
  using T = korvane::model::geometry::NurbsCurve;
  static constexpr std::string_view qualified_name = "korvane.model.geometry.NurbsCurve";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::control_points>{"control_points"});
    visit(Field<1, &T::weights>{"weights"});
    visit(Field<2, &T::knots>{"knots"});
    visit(Field<3, &T::degree>{"degree"});
  }
};

template <>
struct bond::Describe<korvane::model::geometry::Polygon> {
  using T = korvane::model::geometry::Polygon;
  static constexpr std::string_view qualified_name = "korvane.model.geometry.Polygon";
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::points>{"points"}); }
};

template <>
struct bond::DescribeEnum<korvane::model::geometry::CurveKind> {
  using E = korvane::model::geometry::CurveKind;
  static constexpr std::string_view qualified_name = "korvane.model.geometry.CurveKind";
  static constexpr std::array enumerators = {
      Enumerator<E>{"kLine", E::kLine},
      Enumerator<E>{"kArc", E::kArc},
      Enumerator<E>{"kNurbsCurve", E::kNurbsCurve},
      Enumerator<E>{"kPolygon", E::kPolygon},
  };
};

template <>
struct bond::Describe<korvane::model::geometry::AnyCurve> {
  using T = korvane::model::geometry::AnyCurve;
  static constexpr std::string_view qualified_name = "korvane.model.geometry.AnyCurve";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::kind>{"kind"}.stated());
    visit(Field<1, &T::line>{"line"});
    visit(Field<2, &T::arc>{"arc"});
    visit(Field<3, &T::nurbs>{"nurbs"});
  }
};

template <>
struct bond::Describe<korvane::model::geometry::PolyCurve> {
  using T = korvane::model::geometry::PolyCurve;
  static constexpr std::string_view qualified_name = "korvane.model.geometry.PolyCurve";
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::curves>{"curves"}); }
};

template <>
struct bond::Describe<korvane::model::geometry::Curve> {
  using T = korvane::model::geometry::Curve;
  static constexpr std::string_view qualified_name = "korvane.model.geometry.Curve";
  static constexpr void fields(auto&&) {}
};
