#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bond/nullable.h"
#include "contracts/geometry/point.h"

namespace korvane::model::cad {

using geometry::Point3d;

/// The quantity that a label of a geometry object states.
enum class GeometryLabelType : std::int32_t {
  Length = 0,
  Radius = 1,
  Angle = 2,
};

/// One label text on a geometry object.
struct GeometryLabel {
  GeometryLabelType type = GeometryLabelType::Length;
  std::string text;

  bool operator==(const GeometryLabel&) const = default;
};

/// The kinds of piece a bar is bent from.
enum class GeometryObjectType : std::int32_t {
  kLine = 0,
  kArc = 1,
  kKink = 2,
};

/// One piece of a bar's geometry.
struct GeometryObject {
  GeometryObjectType type = GeometryObjectType::kLine;
  bond::nullable<double> length;
  bond::nullable<double> angle;
  bond::nullable<double> radius;
  bond::nullable<double> display_length;
  std::vector<GeometryLabel> labels;

  bool operator==(const GeometryObject&) const = default;
};

/// The shape of a bar: its pieces and its points.
struct RebarGeometry {
  std::vector<GeometryObject> objects;
  std::vector<Point3d> polyline;

  bool operator==(const RebarGeometry&) const = default;
};

}  // namespace korvane::model::cad
