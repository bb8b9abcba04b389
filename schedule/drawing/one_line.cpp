#include "schedule/drawing/one_line.h"

#include <algorithm>
#include <cstddef>
#include <glib.h>

namespace korvane::schedule::drawing {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr int kMostAccents = 4;

/// Embeddings, overrides and isolates.
bool turns_direction(gunichar c) {
  return (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

bool ends_line(gunichar c) {
  return c == '\n' || c == '\r' || c == '\t' || c == 0x85 || c == 0x2028 || c == 0x2029;
}

bool is_character(gunichar c) {
  const bool is_control = c < 0x20 || (c >= 0x7F && c < 0xA0);
  const bool is_of_no_use = (c & 0xFFFEU) == 0xFFFE || (c >= 0xFDD0 && c <= 0xFDEF);
  return !is_control && !is_of_no_use;
}

}  // namespace

std::string one_line(std::string_view text) {
  if (std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < 0x7F; })) {
    return std::string(text);
  }
  std::string line;
  line.reserve(text.size());
  int accents = 0;
  for (std::size_t i = 0; i < text.size();) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const gunichar c =
        byte < 0x80 ? byte
                    : g_utf8_get_char_validated(&text[i], static_cast<gssize>(text.size() - i));
    const bool is_valid = c <= 0x10FFFF;
    const std::size_t size = is_valid ? static_cast<std::size_t>(g_unichar_to_utf8(c, nullptr)) : 1;
    accents = is_valid && g_unichar_ismark(c) != 0 ? accents + 1 : 0;
    if (is_valid && ends_line(c)) {
      line += ' ';
    } else if (!is_valid || !is_character(c)) {
      line += kReplacement;
    } else if (!turns_direction(c) && accents <= kMostAccents) {
      line += text.substr(i, size);
    }
    i += size;
  }
  return line;
}

}  // namespace korvane::schedule::drawing
