#pragma once

#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>

namespace korvane::schedule::bvbs {

/// A number with a decimal point or a decimal comma. None for any other text, and for what is not
/// finite.
std::optional<double> parse_number(std::string_view text);

/// The shortest text without an exponent that reads as `number`, which is finite.
std::string number_text(double number);

/// A text of a number near `guess` for which `gives(number)` is true, with as few digits as can be:
/// a length that was divided or summed has rounding in its last digits. The text of `guess` where
/// there is none.
template <class Gives>
std::string number_text_that(double guess, Gives gives) {
  constexpr int kDigitsThatPeopleWrite = 15;
  constexpr int kNeighbours = 4;
  std::array<char, 32> buffer;
  const auto [end, error] =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), guess,
                    std::chars_format::scientific, kDigitsThatPeopleWrite - 1);
  double rounded = guess;
  if (error == std::errc()) std::from_chars(buffer.data(), end, rounded);
  if (gives(rounded)) return number_text(rounded);
  double below = guess;
  double above = guess;
  for (int i = 0; i <= kNeighbours; ++i) {
    if (gives(below)) return number_text(below);
    if (gives(above)) return number_text(above);
    below = std::nextafter(below, -HUGE_VAL);
    above = std::nextafter(above, HUGE_VAL);
  }
  return number_text(guess);
}

}  // namespace korvane::schedule::bvbs
