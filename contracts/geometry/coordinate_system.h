#pragma once

#include "contracts/geometry/point.h"
#include "contracts/geometry/vector.h"

namespace korvane::model::geometry {

/// A frame. There is no `y`: it follows from the other two axes.
struct CoordinateSystem {
  Point3d origin;
  Vector3 x;
  Vector3 z;

  bool operator==(const CoordinateSystem&) const = default;
};

}  // namespace korvane::model::geometry
