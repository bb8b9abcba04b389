#pragma once

#include <set>
#include <utility>
#include <vector>

#include "schedule/drawing/shape.h"
#include "schedule/drawing/track.h"

/// A flat bar as it is drawn: with its angles, but with short legs longer than they are.
namespace korvane::schedule::drawing {

/// Places the line of a flat shape into a field of this size in millimetres, from (0, 0), y upwards,
/// in the position that it is known by or with its longest leg horizontal. Equal legs stay equal and longer ones longer, but for legs that lie on
/// each other, which are moved apart; and legs that don't cross on the bar don't cross here.
std::vector<TrackPiece> figure_of(const Shape& shape, double width, double height);

/// Which straight pieces of a track cross, as pairs of legs. Legs that touch don't cross.
std::set<std::pair<std::size_t, std::size_t>> crossings_of(const std::vector<TrackPiece>& track);

}  // namespace korvane::schedule::drawing
