#pragma once

namespace korvane::model::geometry {

/// A direction in a plane.
struct Vector2 {
  double x = 0.0;
  double y = 0.0;

  bool operator==(const Vector2&) const = default;
};

/// A direction in space.
struct Vector3 {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;

  bool operator==(const Vector3&) const = default;
};

}  // namespace korvane::model::geometry
