#include "schedule/bvbs/letters.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace korvane::schedule::bvbs {

namespace {

/// The letters from 0x80 to 0x9F as UTF-8. From 0xA0 on it is Latin-1.
constexpr std::array<std::string_view, 32> kLetters = {
    "\u20AC",   "\xC2\x81", "\u201A", "\u0192", "\u201E", "\u2026",   "\u2020", "\u2021",
    "\u02C6",   "\u2030",   "\u0160", "\u2039", "\u0152", "\xC2\x8D", "\u017D", "\xC2\x8F",
    "\xC2\x90", "\u2018",   "\u2019", "\u201C", "\u201D", "\u2022",   "\u2013", "\u2014",
    "\u02DC",   "\u2122",   "\u0161", "\u203A", "\u0153", "\xC2\x9D", "\u017E", "\u0178"};

/// Whether `text` begins with a letter of Latin-1 from 0xA0 on.
bool begins_in_latin1(std::string_view text) {
  if (text.size() < 2) return false;
  const auto lead = static_cast<unsigned char>(text[0]);
  const auto tail = static_cast<unsigned char>(text[1]);
  return (lead == 0xC2 && tail >= 0xA0 && tail < 0xC0) ||
         (lead == 0xC3 && tail >= 0x80 && tail < 0xC0);
}

}  // namespace

std::string utf8_from_windows1252(std::string_view text) {
  std::string utf8;
  utf8.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      utf8 += c;
    } else if (byte < 0xA0) {
      utf8 += kLetters[byte - 0x80U];
    } else {
      utf8 += static_cast<char>(0xC0U | (byte >> 6U));
      utf8 += static_cast<char>(0x80U | (byte & 0x3FU));
    }
  }
  return utf8;
}

std::optional<std::string> windows1252_from_utf8(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  while (!text.empty()) {
    const auto lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80) {
      bytes += text[0];
      text.remove_prefix(1);
    } else if (begins_in_latin1(text)) {
      bytes += static_cast<char>((lead == 0xC3 ? 0x40U : 0U) | static_cast<unsigned char>(text[1]));
      text.remove_prefix(2);
    } else {
      const auto* const letter =
          std::find_if(kLetters.begin(), kLetters.end(),
                       [&](std::string_view candidate) { return text.starts_with(candidate); });
      if (letter == kLetters.end()) return std::nullopt;
      bytes += static_cast<char>(0x80 + (letter - kLetters.begin()));
      text.remove_prefix(letter->size());
    }
  }
  return bytes;
}

}  // namespace korvane::schedule::bvbs
