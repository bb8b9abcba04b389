#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "schedule/angles.h"
#include "schedule/drawing/figure.h"
#include "schedule/drawing/numbers.h"
#include "schedule/drawing/sketch_kinds.h"
#include "schedule/drawing/strokes.h"
#include "schedule/space.h"

namespace korvane::schedule::drawing {

namespace {

constexpr double kMarginX = 9;
constexpr double kMarginY = 3.6;
/// How much of each leg a rounded corner takes.
constexpr double kCut = 1.3;

/// A parallel projection: where the axes of space point to on paper, y downwards.
struct View {
  Point x;
  Point y;
  Point z;

  Point operator()(const Point3d& point) const { return x * point.x + y * point.y + z * point.z; }
};

/// From a direction above the horizon; both angles in degrees.
View view_from(double azimuth, double elevation) {
  const double sine = std::sin(elevation * kRadiansPerDegree);
  const Point x{-std::sin(azimuth * kRadiansPerDegree),
                -std::cos(azimuth * kRadiansPerDegree) * -sine};
  const Point y{std::cos(azimuth * kRadiansPerDegree),
                -std::sin(azimuth * kRadiansPerDegree) * -sine};
  return {x, y, {0, -std::cos(elevation * kRadiansPerDegree)}};
}

std::vector<Point3d> scaled_legs(const std::vector<Point3d>& points) {
  constexpr double kExponent = 0.7;
  double longest = 0;
  for (std::size_t i = 1; i < points.size(); ++i) {
    longest = std::max(longest, length(difference(points[i], points[i - 1])));
  }
  std::vector<Point3d> result{{0, 0, 0}};
  for (std::size_t i = 1; i < points.size(); ++i) {
    const Point3d way = difference(points[i], points[i - 1]);
    const double part = length(way) / longest;
    const double scale = std::pow(part, kExponent) / part / longest;
    const Point3d last = result.back();
    result.push_back({last.x + way.x * scale, last.y + way.y * scale, last.z + way.z * scale});
  }
  return result;
}

/// How well the legs can be told apart: the least part of a leg's length that is seen, less for
/// angles of neighbours that are nearly flat.
double clarity(const View& view, const std::vector<Point3d>& points) {
  double least = 1;
  Point before;
  for (std::size_t i = 1; i < points.size(); ++i) {
    const Point3d way = difference(points[i], points[i - 1]);
    const Point seen = view(way);
    const double size = std::hypot(seen.x, seen.y);
    least = std::min(least, size / std::max(length(way), 1e-12));
    if (i > 1) {
      const Point direction = unit(seen);
      const double turn = std::abs(before.x * direction.y - before.y * direction.x);
      least = std::min(least, turn * 1.2);
    }
    before = unit(seen);
  }
  return least;
}

double distance(Point point, Point from, Point to) {
  const Point way = to - from;
  const double square = way.x * way.x + way.y * way.y;
  const Point other = point - from;
  const double part =
      square > 0 ? std::clamp((other.x * way.x + other.y * way.y) / square, 0.0, 1.0) : 0;
  const Point left = other - way * part;
  return std::hypot(left.x, left.y);
}

/// How often a corner or an end lies on a leg that it does not belong to, and how often legs cross.
int collisions(const View& view, const std::vector<Point3d>& points) {
  constexpr double kNear = 0.12;
  std::vector<Point> corners;
  std::vector<TrackPiece> legs;
  for (const Point3d& point : points) corners.push_back(view(point));
  for (std::size_t i = 1; i < corners.size(); ++i) {
    legs.push_back({.leg = i, .from = corners[i - 1], .to = corners[i]});
  }
  int count = static_cast<int>(crossings_of(legs).size());
  for (std::size_t i = 0; i < corners.size(); ++i) {
    for (std::size_t leg = 1; leg < corners.size(); ++leg) {
      if (i == leg || i + 1 == leg) continue;
      if (distance(corners[i], corners[leg - 1], corners[leg]) < kNear) ++count;
    }
  }
  return count;
}

View best_view(const std::vector<Point3d>& points) {
  View best = view_from(30, 25);
  double most = -HUGE_VAL;
  for (const double elevation : {25.0, 35.0, 18.0, 50.0}) {
    for (const double azimuth : {-60.0, -30.0, -45.0, -15.0, -75.0, 30.0, 60.0, 120.0, 150.0}) {
      const View view = view_from(azimuth, elevation);
      const double found = clarity(view, points) - 0.25 * collisions(view, points);
      // A little better is not worth an unusual view.
      if (found <= most + 0.03) continue;
      most = found;
      best = view;
    }
  }
  return best;
}

std::vector<Point> fitted(std::vector<Point> points, double width, double height) {
  const Box box = box_of(points);
  const double room = std::max(width - 2 * kMarginX, width / 3);
  const double scale =
      std::min(room / std::max(box.width(), 1e-9),
               std::max(height - 2 * kMarginY, height / 3) / std::max(box.height(), 1e-9));
  const Point middle = (box.least + box.greatest) * 0.5;
  for (Point& point : points) {
    point = (point - middle) * scale + Point{width / 2, height / 2};
  }
  return points;
}

/// The corners rounded.
std::vector<PathStep> rounded_path(const std::vector<Point>& corners) {
  std::vector<PathStep> path{{PathStep::Kind::move, corners.front()}};
  const auto towards = [](Point from, Point to) {
    const Point way = to - from;
    const double cut = std::min(kCut, 0.4 * std::hypot(way.x, way.y));
    return from + unit(way) * cut;
  };
  for (std::size_t i = 1; i + 1 < corners.size(); ++i) {
    const Point corner = corners[i];
    const Point begin = towards(corner, corners[i - 1]);
    const Point end = towards(corner, corners[i + 1]);
    path.push_back({PathStep::Kind::line, begin});
    path.push_back({PathStep::Kind::curve, end, begin + (corner - begin) * (2.0 / 3.0),
                    end + (corner - end) * (2.0 / 3.0)});
  }
  path.push_back({PathStep::Kind::line, corners.back()});
  return path;
}

void draw_axes(const View& view, Picture& picture, LabelField& labels) {
  constexpr double kLength = 3.5;
  const Point origin{5, picture.height - 4.5};
  const std::pair<Point, const char*> axes[] = {{view.x, "x"}, {view.y, "y"}, {view.z, "z"}};
  for (const auto& [axis, name] : axes) {
    const Point end = origin + axis * kLength;
    picture.strokes.push_back({path_through({origin, end}), kThinWidth, Ink::grey});
    labels.add_line({origin, end}, kThinWidth);
    if (std::hypot(axis.x, axis.y) < 0.2) continue;
    labels.add_label_at(name, end + unit(axis) * 1.3);
  }
}

/// Of a leg along an axis its length; of others also how far they go along each.
std::string label_of(const Point3d& way) {
  const double size = length(way);
  const auto is_seen = [size](double part) { return std::abs(part) > size * 1e-6; };
  const int parts = int{is_seen(way.x)} + int{is_seen(way.y)} + int{is_seen(way.z)};
  if (parts < 2) return short_number(size);
  return short_number(size) + " (" + short_number(way.x) + ", " + short_number(way.y) + ", " +
         short_number(way.z) + ")";
}

}  // namespace

Picture spatial_sketch(const Shape& shape, double width, double height) {
  Picture picture{width, height, {}, {}};
  LabelField labels(width, height);
  const std::vector<Point3d> legs = scaled_legs(shape.points);
  const View view = best_view(legs);
  std::vector<Point> corners;
  for (const Point3d& point : legs) corners.push_back(view(point));
  corners = fitted(std::move(corners), width, height);
  picture.strokes.push_back({rounded_path(corners), kBarWidth});
  labels.add_line(corners, kBarWidth);
  draw_axes(view, picture, labels);
  const std::size_t last = corners.size() - 1;
  if (shape.start) {
    draw_end(*shape.start, corners[0], unit(corners[0] - corners[1]), picture, labels);
  }
  if (shape.end) {
    draw_end(*shape.end, corners[last], unit(corners[last] - corners[last - 1]), picture, labels);
  }
  const Box box = box_of(corners);
  const Point centre = (box.least + box.greatest) * 0.5;
  for (std::size_t i = 1; i < corners.size(); ++i) {
    const std::string text = label_of(difference(shape.points[i], shape.points[i - 1]));
    labels.add_label(text, places_beside(corners[i - 1], corners[i], centre, text),
                     (corners[i - 1] + corners[i]) * 0.5);
  }
  labels.draw(picture);
  return picture;
}

}  // namespace korvane::schedule::drawing
