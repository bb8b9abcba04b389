#pragma once

#include <string>
#include <vector>

#include "schedule/drawing/labels.h"
#include "schedule/drawing/picture.h"
#include "schedule/drawing/shape.h"
#include "schedule/drawing/track.h"

/// What the sketches of flat bars, spatial bars and helices share. Coordinates are a picture's: y
/// grows downwards.
namespace korvane::schedule::drawing {

// Millimetres.
inline constexpr double kBarWidth = 0.6;
inline constexpr double kThinWidth = 0.13;

/// A track, whose y grows upwards, as a path in a picture of this height.
std::vector<PathStep> path_of(const std::vector<TrackPiece>& track, double height);

/// The point with y upwards in a picture of this height.
inline Point flipped(Point point, double height) { return {point.x, height - point.y}; }

/// Places beside the line from `from` to `to` for a label, the best of them on the side that faces
/// away from `centre`.
std::vector<LabelPlace> places_beside(Point from, Point to, Point centre, const std::string& text);

/// Places around a point, the best of them in the direction of `outwards`, which has any length.
std::vector<LabelPlace> places_around(Point point, Point outwards, const std::string& text);

/// Draws an end with this kind of treatment, at `point`, where the bar arrives in the direction of `along`.
void draw_end(const std::string& treatment, Point point, Point along, Picture& picture,
              LabelField& labels);

/// Draws a dimension line of what lies between two points in `direction`, which has length 1. The
/// line is `offset` millimetres away from the first point, to the right of that direction as a
/// reader sees it, or to the left if negative. An empty text is not drawn.
void draw_dimension(Point from, Point to, Point direction, double offset, const std::string& text,
                    Picture& picture, LabelField& labels);

/// One vector of length 1 in the direction of another, or (1, 0).
Point unit(Point vector);

}  // namespace korvane::schedule::drawing
