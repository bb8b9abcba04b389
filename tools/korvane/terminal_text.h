#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "schedule/table_text.h"

/// Texts for a terminal, all UTF-8.
namespace korvane::tools {

using schedule::format_number;

/// `text` for one line of a terminal: `?` in place of control characters, which could move the
/// cursor or forge a line, and `\uFFFD` in place of what is not UTF-8.
std::string printable(std::string_view text);

/// How many cells of a terminal `text` takes: two for a wide character of East Asia and for most
/// emoji, none for one that combines with that before it. `text` is printable.
std::size_t width_of(std::string_view text);

/// `text` in lines of at most `width` cells, which must be at least 2: broken at blanks, and within
/// a word that is longer than a line, if possible after a point or the like. At least one line.
std::vector<std::string> lines_of(std::string_view text, std::size_t width);

/// "1 bar mark", "12 bar marks".
std::string format_count(std::size_t count, const std::string& noun);

}  // namespace korvane::tools
