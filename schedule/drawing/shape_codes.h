#pragma once

#include <span>
#include <string_view>

#include "schedule/drawing/coded_bar.h"

namespace korvane::schedule::drawing {

/// One shape code: what `docs/shapes.md` says in words.
struct ShapeCode {
  /// Two digits.
  std::string_view code;
  /// Letters that the shape cannot do without, and letters that it has a place for.
  std::string_view required;
  std::string_view optional;
  /// The standards that have it among their figures.
  std::string_view source;
  /// Puts the bar together; the required letters are given.
  void (*build)(CodedBar& bar);
};

/// All codes that have a shape, in rising order.
std::span<const ShapeCode> shape_codes();

}  // namespace korvane::schedule::drawing
