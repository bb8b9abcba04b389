#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "schedule/drawing/fonts.h"
#include "schedule/drawing/picture.h"
#include "schedule/drawing/table_layout.h"

/// What a page says, and whether everything is in its place.
namespace korvane::test {

struct TextBox {
  double left = 0;
  double right = 0;
  double top = 0;
  double bottom = 0;
};

inline TextBox box_of(const schedule::drawing::Text& text) {
  using namespace schedule::drawing;
  const double width = text_width(text.text, text.size, text.is_bold);
  double left = text.at.x;
  if (text.align == Align::centre) left -= width / 2;
  if (text.align == Align::right) left -= width;
  return {left, left + width, text.at.y - kCapitalHeight * text.size,
          text.at.y + kDescent * text.size};
}

/// Texts within the margins, none over another. Sketches are left to their own tests.
inline void expect_texts_in_place(const schedule::drawing::Picture& page) {
  using namespace schedule::drawing;
  constexpr double kRight = kPageLeft + kContentWidth;
  std::vector<std::pair<TextBox, std::string>> boxes;
  for (const Text& text : page.texts) {
    if (text.text.find_first_not_of(' ') == std::string::npos) continue;
    const TextBox box = box_of(text);
    EXPECT_GE(box.left, kPageLeft - 0.01) << text.text;
    EXPECT_LE(box.right, kRight + 0.01) << text.text;
    EXPECT_GE(box.top, kPageTop - 0.6) << text.text;
    EXPECT_LE(box.bottom, kPageBottom + 0.01) << text.text;
    for (const auto& [other, other_text] : boxes) {
      const bool is_over = box.left < other.right - 0.01 && other.left < box.right - 0.01 &&
                           box.top < other.bottom - 0.01 && other.top < box.bottom - 0.01;
      EXPECT_FALSE(is_over) << text.text << " over " << other_text;
    }
    boxes.emplace_back(box, text.text);
  }
}

inline bool has_text(const schedule::drawing::Picture& page, const std::string& wanted) {
  for (const schedule::drawing::Text& text : page.texts) {
    if (text.text == wanted) return true;
  }
  return false;
}

}  // namespace korvane::test
