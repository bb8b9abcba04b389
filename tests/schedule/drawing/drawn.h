#pragma once

#include <vector>

#include "schedule/drawing/picture.h"

/// What a picture shows, found from its strokes and texts alone.
namespace korvane::schedule::drawing {

/// A stroke as straight pieces, its curves by many.
std::vector<Point> flattened(const Stroke& stroke);

/// The texts that touch a line, another text or the edge of the picture.
std::vector<Text> covering_texts(const Picture& picture);

/// The first stroke of full width: the bar.
const Stroke& bar_of(const Picture& picture);

/// The bends of a bar as they are drawn, in degrees: positive to the left, as a reader sees them who
/// goes along it.
std::vector<double> drawn_bends(const Stroke& bar);

}  // namespace korvane::schedule::drawing
