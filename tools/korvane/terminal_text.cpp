#include "tools/korvane/terminal_text.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/log/log.h"

namespace korvane::tools {

namespace {

struct Range {
  char32_t first;
  char32_t last;
};

// The blocks that matter. The C library's wcwidth knows more, but in a locale of its own only.

constexpr std::array kCombining = {
    Range{0x0300, 0x036F}, Range{0x0483, 0x0489}, Range{0x0591, 0x05BD}, Range{0x0610, 0x061A},
    Range{0x064B, 0x065F}, Range{0x0E34, 0x0E3A}, Range{0x0E47, 0x0E4E}, Range{0x1AB0, 0x1AFF},
    Range{0x1DC0, 0x1DFF}, Range{0x200B, 0x200F}, Range{0x202A, 0x202E}, Range{0x2060, 0x2064},
    Range{0x20D0, 0x20FF}, Range{0x3099, 0x309A}, Range{0xFE00, 0xFE0F}, Range{0xFE20, 0xFE2F},
    Range{0xFEFF, 0xFEFF},
};

constexpr std::array kWide = {
    Range{0x1100, 0x115F},   Range{0x2E80, 0x303E},   Range{0x3041, 0x4DBF},
    Range{0x4E00, 0xA4CF},   Range{0xA960, 0xA97F},   Range{0xAC00, 0xD7A3},
    Range{0xF900, 0xFAFF},   Range{0xFE30, 0xFE6F},   Range{0xFF01, 0xFF60},
    Range{0xFFE0, 0xFFE6},   Range{0x1F300, 0x1F64F}, Range{0x1F680, 0x1F6FF},
    Range{0x1F900, 0x1F9FF}, Range{0x20000, 0x3FFFD},
};

template <std::size_t N>
bool is_in(const std::array<Range, N>& ranges, char32_t code) {
  return std::any_of(ranges.begin(), ranges.end(),
                     [&](const Range& range) { return code >= range.first && code <= range.last; });
}

std::size_t width_of(char32_t code) {
  if (code < 0x300) return 1;
  if (is_in(kCombining, code)) return 0;
  return is_in(kWide, code) ? 2 : 1;
}

/// Takes the first code point off valid UTF-8, which is not empty.
char32_t take_code(std::string_view& text) {
  const auto first = static_cast<unsigned char>(text.front());
  const std::size_t size = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  char32_t code = size == 1 ? first : first & (0xFFU >> (size + 1));
  for (std::size_t i = 1; i < size && i < text.size(); ++i) {
    code = (code << 6U) | (static_cast<unsigned char>(text[i]) & 0x3FU);
  }
  text.remove_prefix(std::min(size, text.size()));
  return code;
}

/// Takes as many code points off `word` as fit, if it can up to a mark between its parts.
std::string_view take_cells(std::string_view& word, std::size_t width) {
  const std::string_view whole = word;
  std::size_t used = 0;
  while (!word.empty()) {
    std::string_view rest = word;
    used += width_of(take_code(rest));
    if (used > width) break;
    word = rest;
  }
  const std::string_view fitting = whole.substr(0, whole.size() - word.size());
  const std::size_t mark = fitting.find_last_of("._/,;:");
  if (mark == std::string_view::npos || mark < fitting.size() / 3) return fitting;
  word = whole.substr(mark + 1);
  return whole.substr(0, mark + 1);
}

bool is_plain(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < '\x7F'; });
}

}  // namespace

std::string printable(std::string_view text) {
  if (is_plain(text)) return std::string(text);
  const auto is_control = [](wchar_t code) { return code < 0x20 || (code >= 0x7F && code < 0xA0); };
  std::wstring wide = krv::log::widen(text);
  std::replace_if(wide.begin(), wide.end(), is_control, L'?');
  return krv::log::narrow(wide);
}

std::size_t width_of(std::string_view text) {
  if (is_plain(text)) return text.size();
  std::size_t width = 0;
  while (!text.empty()) width += width_of(take_code(text));
  return width;
}

std::vector<std::string> lines_of(std::string_view text, std::size_t width) {
  std::vector<std::string> lines(1);
  std::size_t used = 0;
  const auto begin_line = [&] {
    lines.emplace_back();
    used = 0;
  };
  while (!text.empty()) {
    const std::size_t blank = text.find(' ');
    std::string_view word = text.substr(0, blank);
    text.remove_prefix(blank == std::string_view::npos ? text.size() : blank + 1);
    if (word.empty()) continue;
    std::size_t size = width_of(word);
    if (used != 0 && used + 1 + size > width) begin_line();
    while (size > width) {
      const std::string_view taken = take_cells(word, width);
      lines.back() += taken;
      size -= width_of(taken);
      begin_line();
    }
    if (used != 0) lines.back() += ' ';
    lines.back() += word;
    used += size + (used == 0 ? 0 : 1);
  }
  return lines;
}

std::string format_count(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace korvane::tools
