#pragma once

#include "schedule/drawing/picture.h"
#include "schedule/drawing/shape.h"

/// The sketch of a bar: not to scale, so that short legs can be seen beside long ones, but with the
/// angles and the order of lengths of the bar.
namespace korvane::schedule::drawing {

/// Draws a shape into a field of `width` by `height` millimetres. An unknown shape is an empty frame
/// with its code.
Picture sketch_of(const Shape& shape, double width, double height);

}  // namespace korvane::schedule::drawing
