#include "schedule/drawing/wrapped_text.h"

#include <algorithm>
#include <glib.h>
#include <string_view>
#include <utility>

#include "schedule/drawing/fonts.h"
#include "schedule/drawing/one_line.h"

namespace korvane::schedule::drawing {

namespace {

constexpr const char* kEllipsis = "…";

/// No line of a page has more bytes: what is longer is not measured.
constexpr std::size_t kLongestLine = 512;

bool continues(char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; }

/// Breaks one text after another line.
class Breaker {
 public:
  Breaker(std::string text, double width, double size, bool is_bold)
      : text_(std::move(text)), width_(width), size_(size), is_bold_(is_bold) {
    skip_blanks();
  }

  bool is_at_end() const { return begin_ == text_.size(); }

  /// The next line, with `end` after it where that is not empty.
  std::string take(const char* end = "") {
    const std::size_t most = whole_letters(std::min(text_.size(), begin_ + kLongestLine));
    std::size_t stop = is_wide(most, end) ? longest(most, end) : most;
    if (*end == '\0' && stop != text_.size()) stop = before_word(stop);
    std::string line = text_.substr(begin_, stop - begin_);
    while (line.ends_with(' ')) line.pop_back();
    begin_ = stop;
    skip_blanks();
    return line + end;
  }

 private:
  void skip_blanks() {
    while (begin_ < text_.size() && text_[begin_] == ' ') ++begin_;
  }

  bool is_wide(std::size_t stop, const char* end) const {
    return text_width(text_.substr(begin_, stop - begin_) + end, size_, is_bold_) > width_;
  }

  /// `stop`, or the begin of the letter that it is in, with the accents on it.
  std::size_t whole_letters(std::size_t stop) const {
    while (stop > begin_ && stop < text_.size() && (continues(text_[stop]) || is_accent(stop))) {
      --stop;
    }
    return stop;
  }

  bool is_accent(std::size_t at) const {
    return g_unichar_ismark(g_utf8_get_char(&text_[at])) != 0;
  }

  /// Where the longest line ends that is not too wide: after one letter at least.
  std::size_t longest(std::size_t most, const char* end) const {
    std::size_t fits = begin_;
    std::size_t too_wide = most;
    while (true) {
      const std::size_t middle = whole_letters(fits + (too_wide - fits) / 2);
      if (middle <= fits) break;
      (is_wide(middle, end) ? too_wide : fits) = middle;
    }
    // Letters of several bytes may hide a break between the two.
    for (std::size_t next = after_letter(fits); next < too_wide; next = after_letter(next)) {
      if (is_wide(next, end)) break;
      fits = next;
    }
    return fits == begin_ && *end == '\0' ? after_letter(begin_) : fits;
  }

  std::size_t after_letter(std::size_t at) const {
    do ++at;
    while (at < text_.size() && (continues(text_[at]) || is_accent(at)));
    return at;
  }

  /// The last blank before `stop`; `stop` where a word fills the line.
  std::size_t before_word(std::size_t stop) const {
    if (text_[stop] == ' ') return stop;
    const std::size_t blank = text_.rfind(' ', stop - 1);
    return blank == std::string::npos || blank <= begin_ ? stop : blank;
  }

  std::string text_;
  double width_;
  double size_;
  bool is_bold_;
  std::size_t begin_ = 0;
};

}  // namespace

WrappedText wrapped(const std::string& text, double width, double size, bool is_bold,
                    std::size_t most_lines) {
  WrappedText result;
  // Enough for the lines, whatever is left out of it.
  const std::size_t most = (most_lines + 1) * kLongestLine;
  Breaker breaker(one_line(first_bytes(text, most)), width, size, is_bold);
  while (!breaker.is_at_end()) {
    const bool is_last = result.lines.size() + 1 == most_lines;
    if (is_last) {
      Breaker rest = breaker;
      std::string line = rest.take();
      if (rest.is_at_end() && text.size() <= most) {
        result.lines.push_back(std::move(line));
        return result;
      }
      result.lines.push_back(breaker.take(kEllipsis));
      result.is_shortened = true;
      return result;
    }
    result.lines.push_back(breaker.take());
  }
  // Signs that are left out can fill all that was looked at.
  if (text.size() > most) {
    result.lines.emplace_back(kEllipsis);
    result.is_shortened = true;
  }
  return result;
}

}  // namespace korvane::schedule::drawing
