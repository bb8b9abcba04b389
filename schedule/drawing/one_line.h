#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace korvane::schedule::drawing {

/// `text` as one line that a font can draw and that XML can have. Line ends and tabs become blanks;
/// bytes that are not UTF-8, control characters and what is no character become U+FFFD. Signs that
/// turn the direction of the letters after them are left out, and so is more than a few accents on
/// one letter: a text stays in its place.
std::string one_line(std::string_view text);

/// The first characters of `text` as one line, with "…" after them if there are more than `most`.
/// Takes time for these only, however long the text is.
std::string short_line(std::string_view text, std::size_t most);

}  // namespace korvane::schedule::drawing
