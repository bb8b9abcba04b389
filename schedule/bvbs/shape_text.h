#pragma once

#include <string>

#include "contracts/cad/rebar_geometry.h"

/// Geometry as the block G of the exchange format. All throw CannotSay (schedule/bvbs/draft.h) for
/// what the format has no place for, naming the piece by its place from 1: "piece 2 has no length".
namespace korvane::schedule::bvbs {

struct BarShape {
  /// BF2D, BF3D or BFWE.
  std::string group;
  /// With its letter; empty for a geometry without pieces and points.
  std::string block;
};

/// Legs make a flat bar, or with `pitch` a helix; points alone make a spatial bar, and so do points
/// beside legs that don't lie in one plane. `pitch` is "6 x 100, 12 x 200" (schedule/bvbs/lines.h).
BarShape bar_shape(const model::cad::RebarGeometry& geometry, const std::string& pitch);

/// `bent_bars` is "x", "y" or empty. Empty for a geometry without pieces.
std::string bent_fabric_block(const model::cad::RebarGeometry& geometry,
                              const std::string& bent_bars);

}  // namespace korvane::schedule::bvbs
