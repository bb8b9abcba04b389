#pragma once

#include <cstddef>
#include <vector>

#include "contracts/geometry/point.h"
#include "schedule/drawing/shape.h"

namespace korvane::schedule::drawing {

/// More points than these no path has. Turns of a helix that would need more are left out.
inline constexpr std::size_t kMostPathPoints = 20'000;

/// The line in the middle of a bar, in millimetres and to scale, as points close enough to each
/// other that bends and arcs look round:
///
/// - of a flat bar with z = 0, with its bends,
/// - of a spatial one the vertices of its record, without bends,
/// - of a helix along its turns, which rise in z, from the beginning of its cross-section,
/// - of a flat fabric its outline.
///
/// Empty for an unknown shape, and for one that has more legs, turns or millimetres than can be
/// drawn.
std::vector<model::geometry::Point3d> path_of(const Shape& shape);

}  // namespace korvane::schedule::drawing
