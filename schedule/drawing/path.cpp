#include "schedule/drawing/path.h"

#include <algorithm>
#include <cmath>

#include "schedule/drawing/track.h"

namespace korvane::schedule::drawing {

using model::geometry::Point3d;

namespace {

std::vector<Point> flat_points(const Shape& shape) {
  const std::vector<TrackPiece> track = track_of(shape.legs, true_sizes(shape));
  return points_of(transformed(track, shape.heading.value_or(0), 1, {}));
}

double distance(Point a, Point b) { return std::hypot(b.x - a.x, b.y - a.y); }

/// Goes around the cross-section again and again, while it rises.
std::vector<Point3d> turns_along(const std::vector<Point>& section,
                                 const std::vector<Turns>& turns) {
  std::vector<double> fractions = {0};
  for (std::size_t i = 1; i < section.size(); ++i) {
    fractions.push_back(fractions.back() + distance(section[i - 1], section[i]));
  }
  const double around = fractions.back();
  std::vector<Point3d> points;
  if (!(around > 0)) return points;
  double level = 0;
  for (const Turns& zone : turns) {
    for (double done = 0; done < zone.count; ++done) {
      const double part = std::min(zone.count - done, 1.0);
      for (std::size_t i = points.empty() ? 0 : 1; i < section.size(); ++i) {
        const double fraction = fractions[i] / around;
        if (fraction > part) break;
        if (points.size() == kMostPathPoints) return points;
        points.push_back({section[i].x, section[i].y, level + fraction * zone.pitch});
      }
      level += part * zone.pitch;
    }
  }
  return points;
}

std::vector<Point3d> outline_of(const Shape& sheet) {
  if (sheet.legs.size() < 2) return {};
  const double length = sheet.legs[0].length;
  const double width = sheet.legs[1].length;
  return {{0, 0, 0}, {length, 0, 0}, {length, width, 0}, {0, width, 0}, {0, 0, 0}};
}

/// Records may turn as often as they like.
bool has_too_many_points(const Shape& shape) {
  double pieces = 0;
  for (const Leg& leg : shape.legs) {
    pieces += 2 + (std::abs(leg.opening) + std::abs(leg.bend)) / kDegreesAStep;
  }
  return !(pieces <= static_cast<double>(kMostPathPoints)) || shape.points.size() > kMostPathPoints;
}

std::vector<Point3d> points_of_kind(const Shape& shape) {
  switch (shape.kind) {
    case Shape::Kind::unknown:
      return {};
    case Shape::Kind::spatial:
      return shape.points;
    case Shape::Kind::sheet:
      return outline_of(shape);
    case Shape::Kind::helix:
      return turns_along(flat_points(shape), shape.turns);
    case Shape::Kind::flat:
      break;
  }
  std::vector<Point3d> points;
  for (const Point point : flat_points(shape)) points.push_back({point.x, point.y, 0});
  return points;
}

}  // namespace

std::vector<Point3d> path_of(const Shape& shape) {
  if (has_too_many_points(shape)) return {};
  std::vector<Point3d> points = points_of_kind(shape);
  const bool is_finite = std::all_of(points.begin(), points.end(), [](const Point3d& point) {
    return std::isfinite(point.x) && std::isfinite(point.y) && std::isfinite(point.z);
  });
  if (!is_finite) points.clear();
  return points;
}

}  // namespace korvane::schedule::drawing
