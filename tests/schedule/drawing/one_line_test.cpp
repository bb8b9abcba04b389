#include "schedule/drawing/one_line.h"

#include <string>

#include <gtest/gtest.h>

namespace korvane::schedule::drawing {
namespace {

const std::string kReplacement = "\xEF\xBF\xBD";

TEST(OneLine, KeepsLettersOfAnyLanguage) {
  for (const std::string text : {"", "B500A", "Größe ø12 × 4", "Übergreifung", "钢筋", "😀"}) {
    EXPECT_EQ(one_line(text), text);
  }
}

TEST(OneLine, MakesBlanksOfLineEndsAndTabs) {
  EXPECT_EQ(one_line("a\nb\tc\r\nd"), "a b c  d");
  EXPECT_EQ(one_line("a\xE2\x80\xA8z"), "a z");  // U+2028
}

TEST(OneLine, ReplacesWhatIsNoCharacter) {
  EXPECT_EQ(one_line(std::string("a\0b", 3)), "a" + kReplacement + "b");
  EXPECT_EQ(one_line("\x1B[2J"), kReplacement + "[2J");
  EXPECT_EQ(one_line("\x7F"), kReplacement);
  EXPECT_EQ(one_line("\xC2\x9B"), kReplacement);      // a control character of two bytes
  EXPECT_EQ(one_line("\xEF\xBF\xBF"), kReplacement);  // U+FFFF, which XML lacks
}

TEST(OneLine, ReplacesBytesThatAreNotUtf8) {
  EXPECT_EQ(one_line("\xFF"), kReplacement);
  EXPECT_EQ(one_line("a\xC3"), "a" + kReplacement);
  EXPECT_EQ(one_line("\xE9t\xE9"), kReplacement + "t" + kReplacement);
  EXPECT_EQ(one_line("\xC0\xAF"), kReplacement + kReplacement);                     // too long
  EXPECT_EQ(one_line("\xED\xA0\x80"), kReplacement + kReplacement + kReplacement);  // a surrogate
}

TEST(OneLine, LeavesOutWhatTurnsTheDirection) {
  EXPECT_EQ(one_line("12\xE2\x80\xAE"
                     "34"),
            "1234");
  // Letters of a language that runs to the left stay.
  EXPECT_EQ(one_line("\xD7\x90\xD7\x91"), "\xD7\x90\xD7\x91");
}

TEST(OneLine, LeavesOutAccentsThatPileUp) {
  const std::string accent = "\xCC\x81";
  std::string pile = "a";
  for (int i = 0; i < 100; ++i) pile += accent;
  EXPECT_EQ(one_line(pile + "b"), "a" + accent + accent + accent + accent + "b");
}

TEST(OneLine, LeavesOutAccentsThatPileUpBetweenSignsOfDirection) {
  const std::string accent = "\xCC\x81";
  const std::string override = "\xE2\x80\xAE";
  std::string pile = "a";
  for (int i = 0; i < 100; ++i) pile += accent + override;
  EXPECT_EQ(one_line(pile), "a" + accent + accent + accent + accent);
}

TEST(ShortLine, KeepsWhatIsShort) {
  for (const std::string text : {"", "R400", "Größe", "钢筋钢筋"})
    EXPECT_EQ(short_line(text, 5), text);
}

TEST(ShortLine, EndsInDotsWhereThereIsMore) {
  EXPECT_EQ(short_line("Größen", 5), "Größe…");
  EXPECT_EQ(short_line("a\nb\xFF"
                       "c",
                       3),
            "a b…");
  EXPECT_EQ(short_line(std::string(100'000'000, 'm'), 3), "mmm…");
  EXPECT_EQ(short_line("a" + std::string(1000, '\xFF'), 1), "a…");
}

TEST(FirstBytes, CutNoCharacter) {
  EXPECT_EQ(first_bytes("aø钢", 6), "aø钢");
  EXPECT_EQ(first_bytes("aø钢", 5), "aø");
  EXPECT_EQ(first_bytes("aø钢", 3), "aø");
  EXPECT_EQ(first_bytes("aø钢", 2), "a");
  EXPECT_EQ(first_bytes("aø", 0), "");
  EXPECT_EQ(first_bytes(std::string(100, '\x80'), 50).size(), 47U);
}

}  // namespace
}  // namespace korvane::schedule::drawing
