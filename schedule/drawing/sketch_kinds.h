#pragma once

#include "schedule/drawing/picture.h"
#include "schedule/drawing/shape.h"

namespace korvane::schedule::drawing {

/// A bar in space, seen from where its legs can be told apart, with the axes.
Picture spatial_sketch(const Shape& shape, double width, double height);

/// A helix: its cross-section as flat bars are drawn, and beside it the turns with their pitch.
Picture helix_sketch(const Shape& shape, double width, double height);

}  // namespace korvane::schedule::drawing
