#pragma once

#include <cstdint>
#include <vector>

#include "bond/nullable.h"
#include "contracts/geometry/point.h"

namespace korvane::model::geometry {

/// A straight piece.
struct Line {
  Point3d from;
  Point3d to;

  bool operator==(const Line&) const = default;
};

/// A circular arc through three points.
struct Arc {
  Point3d from;
  Point3d to;
  Point3d third_point;

  bool operator==(const Arc&) const = default;
};

/// A NURBS curve.
struct NurbsCurve {
  std::vector<Point3d> control_points;
  std::vector<double> weights;
  std::vector<double> knots;
  std::int32_t degree = 0;

  bool operator==(const NurbsCurve&) const = default;
};

/// A point sequence.
struct Polygon {
  std::vector<Point3d> points;

  bool operator==(const Polygon&) const = default;
};

/// Selects the member of an `AnyCurve`. `kPolygon` has none there: the schema says so.
enum class CurveKind : std::int32_t {
  kLine = 0,
  kArc = 1,
  kNurbsCurve = 2,
  kPolygon = 3,
};

/// One curve of a selected kind.
struct AnyCurve {
  CurveKind kind = CurveKind::kLine;
  bond::nullable<Line> line;
  bond::nullable<Arc> arc;
  bond::nullable<NurbsCurve> nurbs;

  bool operator==(const AnyCurve&) const = default;
};

/// A chain of curves.
struct PolyCurve {
  std::vector<AnyCurve> curves;

  bool operator==(const PolyCurve&) const = default;
};

/// A message without fields.
struct Curve {
  bool operator==(const Curve&) const = default;
};

}  // namespace korvane::model::geometry
