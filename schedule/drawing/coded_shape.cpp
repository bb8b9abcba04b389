#include "schedule/drawing/coded_shape.h"

namespace korvane::schedule::drawing {

std::optional<Shape> shape_of_code(std::string_view code, const model::cad::RebarParams& letters,
                                   double bar_diameter, double bend_diameter) {
  if (code != "00" || !letters.a || !(*letters.a > 0)) return std::nullopt;
  Shape shape;
  shape.kind = Shape::Kind::flat;
  shape.legs.push_back({.length = *letters.a});
  shape.bar_diameter = bar_diameter;
  shape.bend_diameter = bend_diameter;
  return shape;
}

}  // namespace korvane::schedule::drawing
