#include "schedule/drawing/track.h"

#include <algorithm>
#include <cmath>

#include "schedule/angles.h"

namespace korvane::schedule::drawing {

namespace {

constexpr double kRightAngle = 90;

Point direction_of(double degrees) {
  return {std::cos(degrees * kRadiansPerDegree), std::sin(degrees * kRadiansPerDegree)};
}

/// How much of a straight leg a bend at its end takes.
double shortening(double bend, double radius) {
  const double angle = std::min(std::abs(bend), kRightAngle);
  return radius * std::tan(angle / 2 * kRadiansPerDegree);
}

/// Goes along a bar and notes the pieces.
class Walk {
 public:
  void go_straight(std::size_t leg, double length) {
    const Point to = at_ + direction_of(heading_) * length;
    track_.push_back({.leg = leg, .from = at_, .to = to});
    at_ = to;
  }

  void turn(std::size_t leg, bool is_bend, double radius, double degrees) {
    const double side = degrees > 0 ? kRightAngle : -kRightAngle;
    TrackPiece piece{.leg = leg, .is_bend = is_bend, .is_arc = true, .from = at_};
    piece.centre = at_ + direction_of(heading_ + side) * radius;
    piece.radius = radius;
    piece.start_angle = heading_ - side;
    piece.sweep = degrees;
    piece.to = piece.at(1);
    at_ = piece.to;
    heading_ += degrees;
    track_.push_back(piece);
  }

  std::vector<TrackPiece> take() { return std::move(track_); }

 private:
  std::vector<TrackPiece> track_;
  Point at_;
  double heading_ = 0;
};

}  // namespace

Point TrackPiece::at(double fraction) const {
  if (!is_arc) return from + (to - from) * fraction;
  return centre + direction_of(start_angle + sweep * fraction) * radius;
}

TrackSizes true_sizes(const Shape& shape) {
  const double half = shape.bar_diameter / 2;
  TrackSizes sizes;
  sizes.bend_radius = shape.bend_diameter / 2 + half;
  for (const Leg& leg : shape.legs) {
    sizes.legs.push_back(leg.kind == Leg::Kind::arc ? leg.radius + half : leg.length);
  }
  return sizes;
}

std::vector<TrackPiece> track_of(const std::vector<Leg>& legs, const TrackSizes& sizes) {
  Walk walk;
  double bend_before = 0;
  for (std::size_t i = 0; i < legs.size(); ++i) {
    const Leg& leg = legs[i];
    const double bend = i + 1 == legs.size() ? 0 : leg.bend;
    if (leg.kind == Leg::Kind::arc) {
      walk.turn(i, false, sizes.legs[i], leg.opening);
    } else {
      const double length = sizes.legs[i] - shortening(bend_before, sizes.bend_radius) -
                            shortening(bend, sizes.bend_radius);
      walk.go_straight(i, std::max({length, sizes.bend_radius / 2, sizes.legs[i] / 100}));
    }
    if (bend != 0) walk.turn(i, true, sizes.bend_radius, bend);
    bend_before = bend;
  }
  return walk.take();
}

std::vector<Point> corners_of(const std::vector<TrackPiece>& track) {
  std::vector<Point> corners;
  if (track.empty()) return corners;
  corners.push_back(track.front().from);
  for (std::size_t i = 0; i < track.size(); ++i) {
    const TrackPiece& piece = track[i];
    if (piece.is_bend) {
      const double half = std::abs(piece.sweep) / 2;
      // Where the tangents at both ends of the bend meet.
      const double stretch = half < 45.5 ? 1 / std::cos(half * kRadiansPerDegree) : 1;
      corners.push_back(piece.centre + (piece.at(0.5) - piece.centre) * stretch);
    } else if (i + 1 == track.size() || !track[i + 1].is_bend) {
      corners.push_back(piece.to);
    }
  }
  return corners;
}

std::vector<Point> points_of(const std::vector<TrackPiece>& track) {
  std::vector<Point> points;
  for (const TrackPiece& piece : track) {
    if (points.empty()) points.push_back(piece.from);
    const int steps =
        piece.is_arc ? std::max(1, static_cast<int>(std::abs(piece.sweep) / kDegreesAStep)) : 1;
    for (int step = 1; step <= steps; ++step) {
      points.push_back(piece.at(static_cast<double>(step) / steps));
    }
  }
  return points;
}

Box box_of(const std::vector<Point>& points) {
  Box box{points.front(), points.front()};
  for (const Point point : points) {
    box.least = {std::min(box.least.x, point.x), std::min(box.least.y, point.y)};
    box.greatest = {std::max(box.greatest.x, point.x), std::max(box.greatest.y, point.y)};
  }
  return box;
}

std::vector<TrackPiece> transformed(std::vector<TrackPiece> track, double degrees, double scale,
                                    Point offset) {
  const Point axis = direction_of(degrees);
  const auto moved = [&](Point point) {
    return Point{point.x * axis.x - point.y * axis.y, point.x * axis.y + point.y * axis.x} * scale +
           offset;
  };
  for (TrackPiece& piece : track) {
    piece.from = moved(piece.from);
    piece.to = moved(piece.to);
    piece.centre = moved(piece.centre);
    piece.radius *= scale;
    piece.start_angle += degrees;
  }
  return track;
}

}  // namespace korvane::schedule::drawing
