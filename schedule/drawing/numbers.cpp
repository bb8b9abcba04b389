#include "schedule/drawing/numbers.h"

#include <array>
#include <charconv>
#include <cmath>

#include "schedule/bvbs/numbers.h"

namespace korvane::schedule::drawing {

std::string short_number(double number) {
  constexpr double kSteps = 100;
  constexpr double kLargest = 1e9;
  if (std::abs(number) < kLargest) return bvbs::number_text(std::round(number * kSteps) / kSteps);
  std::array<char, 32> buffer;
  const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number);
  return {buffer.data(), end};
}

}  // namespace korvane::schedule::drawing
