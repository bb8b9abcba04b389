#include "schedule/bvbs/numbers.h"

#include <algorithm>

namespace korvane::schedule::bvbs {

std::optional<double> parse_number(std::string_view text) {
  std::string with_point(text);
  std::replace(with_point.begin(), with_point.end(), ',', '.');
  double number = 0;
  const char* const end = with_point.data() + with_point.size();
  const auto [rest, error] = std::from_chars(with_point.data(), end, number);
  if (error != std::errc() || rest != end || !std::isfinite(number)) return std::nullopt;
  return number;
}

std::string number_text(double number) {
  if (number == 0) return "0";  // without the sign that a zero may have
  // The longest are the smallest numbers, of some 340 characters.
  std::array<char, 512> buffer;
  const auto [end, error] =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), number, std::chars_format::fixed);
  return {buffer.data(), end};
}

}  // namespace korvane::schedule::bvbs
