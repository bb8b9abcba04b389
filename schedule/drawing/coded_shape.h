#pragma once

#include <optional>
#include <string_view>

#include "contracts/cad/rebar_params.h"
#include "schedule/drawing/shape.h"

/// Shapes that a code and letters stand for, after ISO 3766 and BS 8666.
namespace korvane::schedule::drawing {

/// The shape of this code with these dimensions: kind, legs, spans, points or turns. None for a
/// code that is not known, and where a letter is missing that the shape cannot do without, or the
/// numbers contradict each other. Never throws.
std::optional<Shape> shape_of_code(std::string_view code, const model::cad::RebarParams& letters,
                                   double bar_diameter, double bend_diameter);

}  // namespace korvane::schedule::drawing
