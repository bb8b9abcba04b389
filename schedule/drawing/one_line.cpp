#include "schedule/drawing/one_line.h"

#include <algorithm>
#include <cstddef>
#include <glib.h>

#include "schedule/xlsx_text.h"

namespace korvane::schedule::drawing {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr int kMostAccents = 4;

/// Bytes that a text may have for each character that is shown of it, accents included.
constexpr std::size_t kLongestCharacter = 32;

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

bool continues(char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; }

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
    // What is left out does not begin a letter either.
    if (!is_valid || !turns_direction(c)) {
      accents = is_valid && g_unichar_ismark(c) != 0 ? accents + 1 : 0;
    }
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

std::string_view first_bytes(std::string_view text, std::size_t most) {
  constexpr std::size_t kMostContinuing = 3;
  if (text.size() <= most) return text;
  std::size_t end = most;
  while (end > 0 && most - end < kMostContinuing && continues(text[end])) --end;
  return text.substr(0, end);
}

std::string short_line(std::string_view text, std::size_t most) {
  // Enough for the characters, whatever is left out of it.
  const std::string line = one_line(first_bytes(text, (most + 1) * kLongestCharacter));
  std::string begin = first_characters(line, most);
  const bool is_whole =
      begin.size() == line.size() && text.size() <= (most + 1) * kLongestCharacter;
  return is_whole ? begin : begin + "…";
}

}  // namespace korvane::schedule::drawing
