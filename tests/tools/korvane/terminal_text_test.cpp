#include "tools/korvane/terminal_text.h"

#include <random>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace korvane::tools {
namespace {

using testing::ElementsAre;

TEST(Printable, HasNoCharacterThatMovesACursorOrEndsALine) {
  EXPECT_EQ(printable("a\x1b[2Jb\nc\td\x7f"), "a?[2Jb?c?d?");
  EXPECT_EQ(printable("\xC2\x9B"
                      "31m \u00fc \u2026"),
            "?31m \u00fc \u2026");
  EXPECT_EQ(printable(std::string_view("\0x", 2)), "?x");
}

TEST(WidthOf, CountsCellsAndNotBytes) {
  EXPECT_EQ(width_of(""), 0U);
  EXPECT_EQ(width_of("90°"), 3U);
  EXPECT_EQ(width_of("\u4E2D\u6587"), 4U);  // two ideographs
  EXPECT_EQ(width_of("e\u0301"), 1U);       // e with a combining accent
  EXPECT_EQ(width_of("\U0001F600"), 2U);
  EXPECT_EQ(width_of("\uFFFD"), 1U);
}

TEST(LinesOf, BreaksAVeryLongWord) {
  const std::string word(2'000'000, 'x');  // minutes, if each line measured all that is left
  EXPECT_EQ(lines_of(word, 10).size(), 200'000U);
}

TEST(LinesOf, BreaksAtBlanks) {
  EXPECT_THAT(lines_of("400 (90°) 600", 20), ElementsAre("400 (90°) 600"));
  EXPECT_THAT(lines_of("400 (90°) 600", 9), ElementsAre("400 (90°)", "600"));
  EXPECT_THAT(lines_of("", 9), ElementsAre(""));
}

TEST(LinesOf, BreaksALongWordAfterAMarkIfThereIsOne) {
  EXPECT_THAT(lines_of("abcdefghij", 4), ElementsAre("abcd", "efgh", "ij"));
  EXPECT_THAT(lines_of("geometry.objects[2].length", 16),
              ElementsAre("geometry.", "objects[2].", "length"));
  EXPECT_THAT(lines_of("a abcdefgh b", 4), ElementsAre("a", "abcd", "efgh", "b"));
  EXPECT_THAT(lines_of("\u4E2D\u6587\u5B57", 5), ElementsAre("\u4E2D\u6587", "\u5B57"));
}

TEST(LinesOf, LosesNothingAndKeepsToTheWidth) {
  std::mt19937 engine(13);
  for (int i = 0; i < 500; ++i) {
    std::string text;
    for (int words = static_cast<int>(engine() % 9); words > 0; --words) {
      for (int letters = static_cast<int>(engine() % 14); letters > 0; --letters) {
        text += engine() % 7 == 0 ? "°" : engine() % 7 == 1 ? "." : "x";
      }
      text += " ";
    }
    const std::size_t width = 2 + engine() % 12;
    std::string joined;
    for (const std::string& line : lines_of(text, width)) {
      EXPECT_LE(width_of(line), width) << text;
      joined += line;
    }
    std::erase(text, ' ');
    std::erase(joined, ' ');
    EXPECT_EQ(joined, text);
  }
}

TEST(FormatCount, HasAPlural) {
  EXPECT_EQ(format_count(1, "mark"), "1 mark");
  EXPECT_EQ(format_count(12, "mark"), "12 marks");
}

}  // namespace
}  // namespace korvane::tools
