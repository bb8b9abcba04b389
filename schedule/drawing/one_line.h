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

/// At most so many bytes of the begin of `text`, without a part of a character at their end.
std::string_view first_bytes(std::string_view text, std::size_t most);

/// The first characters of `text` as one line, with "…" after them if there are more than `most`.
/// Takes time for these only, however long the text is.
std::string short_line(std::string_view text, std::size_t most);

}  // namespace korvane::schedule::drawing
