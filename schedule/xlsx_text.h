#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace korvane::schedule {

/// `text` as a cell can have it: UTF-8 without characters that XML lacks, which become U+FFFD. What
/// spreadsheets would take for an escaped character, "_x0041_", is escaped itself.
std::string xlsx_text(std::string_view text);

/// How many characters UTF-8 text has.
std::size_t length_of(std::string_view text);

/// The first characters of UTF-8 text: all, if there are fewer.
std::string first_characters(std::string_view text, std::size_t count);

}  // namespace korvane::schedule
