#pragma once

namespace korvane::model::geometry {

/// A point in space. The one geometry record that is stored: in a bar's polyline.
struct Point3d {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;

  bool operator==(const Point3d&) const = default;
};

/// A point in a plane.
struct Point2 {
  double x = 0.0;
  double y = 0.0;

  bool operator==(const Point2&) const = default;
};

}  // namespace korvane::model::geometry
