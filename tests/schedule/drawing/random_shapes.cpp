#include "tests/schedule/drawing/random_shapes.h"

#include <cmath>
#include <random>
#include <string>

#include "schedule/drawing/numbers.h"

namespace korvane::schedule::drawing {

Shape random_shape(std::uint32_t seed) {
  std::mt19937 random(seed);
  const auto below = [&](int count) { return std::uniform_int_distribution(0, count - 1)(random); };
  const auto length = [&] {
    return std::round(50 * std::exp(std::uniform_real_distribution(0.0, 4.8)(random)) / 5) * 5;
  };
  constexpr double kBends[] = {90, 90, 90, 45, 30, 60, 135, 180};
  Shape shape;
  shape.kind = Shape::Kind::flat;
  shape.bar_diameter = 6 + 2 * below(12);
  shape.bend_diameter = 4 * shape.bar_diameter;
  const int count = 1 + below(7);
  for (int i = 0; i < count; ++i) {
    Leg& leg = shape.legs.emplace_back();
    if (below(12) == 0) {
      leg.kind = Leg::Kind::arc;
      leg.radius = length();
      leg.opening = (below(2) == 0 ? 1 : -1) * (20 + below(160));
      leg.label = "R" + short_number(leg.radius);
      continue;
    }
    leg.length = length();
    leg.label = short_number(leg.length);
    if (i + 1 == count) break;
    const double bend = below(6) == 0 ? 15 + below(150) : kBends[below(8)];
    leg.bend = below(2) == 0 ? bend : -bend;
  }
  if (below(5) == 0) shape.start = "coupler";
  if (below(5) == 0) shape.end = "thread";
  return shape;
}

}  // namespace korvane::schedule::drawing
