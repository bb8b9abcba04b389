#pragma once

#include <cstddef>
#include <vector>

#include "schedule/drawing/picture.h"
#include "schedule/drawing/shape.h"

/// The line that a flat bar follows.
namespace korvane::schedule::drawing {

/// A straight piece or an arc of the line. y grows upwards.
struct TrackPiece {
  /// The leg that it is, or after which it is the bend.
  std::size_t leg = 0;
  bool is_bend = false;
  bool is_arc = false;
  Point from = {};
  Point to = {};
  // Of an arc: the angles are in degrees, and a positive sweep is counter-clockwise.
  Point centre = {};
  double radius = 0;
  double start_angle = 0;
  double sweep = 0;

  /// A point of it, `fraction` of its length after its beginning.
  Point at(double fraction) const;
};

/// How the legs of a shape are drawn: a length for each straight leg and a radius for each arc, and
/// the radius of all bends, in one unit of any size.
struct TrackSizes {
  std::vector<double> legs;
  double bend_radius = 0;
};

/// The sizes that the shape has, of the line in the middle of the bar.
TrackSizes true_sizes(const Shape& shape);

/// The line from (0, 0), first to the right. Lengths of straight legs are from outside to outside, so
/// that the bends at their ends shorten them; none becomes shorter than half the bend's radius.
std::vector<TrackPiece> track_of(const std::vector<Leg>& legs, const TrackSizes& sizes);

/// The corners: the start, and the end of each leg, where the legs beside a bend would meet, or
/// halfway around the bend if it is sharper than a right angle.
std::vector<Point> corners_of(const std::vector<TrackPiece>& track);

/// The distance of points along an arc.
inline constexpr double kDegreesAStep = 7.5;

/// Points along the line, close enough to each other that the arcs look round.
std::vector<Point> points_of(const std::vector<TrackPiece>& track);

struct Box {
  Point least;
  Point greatest;

  double width() const { return greatest.x - least.x; }
  double height() const { return greatest.y - least.y; }
};

/// The box around points, of which there is at least one.
Box box_of(const std::vector<Point>& points);

/// The track turned about (0, 0) by `degrees`, scaled and moved.
std::vector<TrackPiece> transformed(std::vector<TrackPiece> track, double degrees, double scale,
                                    Point offset);

}  // namespace korvane::schedule::drawing
