#include "schedule/drawing/coded_shape.h"

#include <algorithm>
#include <cstddef>
#include <span>

#include "schedule/drawing/coded_bar.h"
#include "schedule/drawing/shape_codes.h"

namespace korvane::schedule::drawing {

namespace {

/// Without blanks at its ends. Nothing else is forgiven: "021" and "BS 21" are codes of others.
std::string_view trimmed(std::string_view code) {
  const std::size_t first = code.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return code.substr(first, code.find_last_not_of(' ') - first + 1);
}

}  // namespace

std::optional<Shape> shape_of_code(std::string_view code, const model::cad::RebarParams& letters,
                                   double bar_diameter, double bend_diameter) {
  const std::span<const ShapeCode> codes = shape_codes();
  const auto known = std::ranges::find(codes, trimmed(code), &ShapeCode::code);
  if (known == codes.end()) return std::nullopt;
  CodedBar bar(letters, bar_diameter, bend_diameter);
  for (const char letter : known->required) {
    if (!bar.has(letter)) return std::nullopt;
  }
  known->build(bar);
  std::optional<Shape> shape = bar.shape();
  if (shape) shape->code = known->code;
  return shape;
}

}  // namespace korvane::schedule::drawing
