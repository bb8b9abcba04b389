#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Windows-1252, the letters of files of the bar schedule exchange format. The five bytes without a
/// letter stand for the control characters of their numbers, U+0081 for 0x81, so that every byte
/// comes back as it was.
namespace korvane::schedule::bvbs {

std::string utf8_from_windows1252(std::string_view text);

/// None for text that is not UTF-8 or has other letters.
std::optional<std::string> windows1252_from_utf8(std::string_view text);

}  // namespace korvane::schedule::bvbs
