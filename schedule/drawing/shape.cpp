#include "schedule/drawing/shape.h"

#include "schedule/drawing/coded_shape.h"

namespace korvane::schedule::drawing {

using model::cad::Fabric;
using model::cad::Rebar;

Shape shape_of(const Rebar& bar) {
  const std::string code = bar.shape_code.hasvalue() ? *bar.shape_code : "";
  Shape shape =
      shape_of_code(code, bar.parameters_exact, bar.bar_diameter, bar.standard_bend_diameter)
          .value_or(Shape{});
  shape.code = code;
  return shape;
}

Shape shape_of(const Fabric&) { return {}; }

}  // namespace korvane::schedule::drawing
