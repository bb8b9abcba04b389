#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// Texts in their place on a page.
namespace korvane::schedule::drawing {

struct WrappedText {
  std::vector<std::string> lines;
  /// There was more than has a place. The last line ends in "…".
  bool is_shortened = false;
};

/// `text` as lines that are not wider than `width`, broken at blanks, and within words that are
/// longer than a line. At most `most_lines`, which is not 0. Takes time for these lines only, however
/// long the text is. No line for an empty text.
WrappedText wrapped(const std::string& text, double width, double size, bool is_bold,
                    std::size_t most_lines);

}  // namespace korvane::schedule::drawing
