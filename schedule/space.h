#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

#include "contracts/geometry/point.h"

/// Vectors in space, as far as shapes of bars need them.
namespace korvane::schedule {

using model::geometry::Point3d;

inline Point3d difference(const Point3d& to, const Point3d& from) {
  return {to.x - from.x, to.y - from.y, to.z - from.z};
}

inline Point3d cross(const Point3d& a, const Point3d& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

inline double dot(const Point3d& a, const Point3d& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

inline double length(const Point3d& vector) { return std::sqrt(dot(vector, vector)); }

/// A vector at right angles to the plane in which the points lie or nearly lie; without length if
/// they lie on a line.
inline Point3d normal_of(const std::vector<Point3d>& points) {
  Point3d longest;
  Point3d normal;
  for (const Point3d& point : points) {
    const Point3d way = difference(point, points.front());
    if (length(way) > length(longest)) longest = way;
  }
  for (const Point3d& point : points) {
    const Point3d candidate = cross(longest, difference(point, points.front()));
    if (length(candidate) > length(normal)) normal = candidate;
  }
  return normal;
}

/// Whether the points lie in one plane, to a thousandth of the longest way across.
inline bool is_flat(const std::vector<Point3d>& points) {
  constexpr double kTolerance = 1e-3;
  if (points.size() < 4) return true;
  double longest = 0;
  for (const Point3d& point : points) {
    longest = std::max(longest, length(difference(point, points.front())));
  }
  const Point3d normal = normal_of(points);
  const double limit = kTolerance * longest * length(normal);
  return std::all_of(points.begin(), points.end(), [&](const Point3d& point) {
    return std::abs(dot(normal, difference(point, points.front()))) <= limit;
  });
}

}  // namespace korvane::schedule
