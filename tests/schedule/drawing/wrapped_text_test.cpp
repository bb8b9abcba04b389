#include "schedule/drawing/wrapped_text.h"

#include <chrono>
#include <random>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "schedule/drawing/fonts.h"

namespace korvane::schedule::drawing {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::SizeIs;

constexpr double kSize = 2.5;

double width_of(const std::string& text) { return text_width(text, kSize); }

TEST(WrappedText, OfNothingHasNoLine) {
  EXPECT_THAT(wrapped("", 50, kSize, false, 3).lines, IsEmpty());
  EXPECT_THAT(wrapped("  \n ", 50, kSize, false, 3).lines, IsEmpty());
}

TEST(WrappedText, BreaksAtBlanks) {
  const double width = width_of("Coupler at the");
  EXPECT_THAT(wrapped("Coupler at the start of it", width, kSize, false, 3).lines,
              ElementsAre("Coupler at the", "start of it"));
}

TEST(WrappedText, BreaksAWordThatIsLongerThanALine) {
  const WrappedText text = wrapped("ab WWWWWW c", width_of("WWWW"), kSize, false, 5);
  EXPECT_THAT(text.lines, ElementsAre("ab", "WWWW", "WW c"));
  EXPECT_FALSE(text.is_shortened);
}

TEST(WrappedText, SaysThatItIsShortened) {
  const WrappedText text = wrapped("one two three four", width_of("one two"), kSize, false, 2);
  EXPECT_TRUE(text.is_shortened);
  ASSERT_THAT(text.lines, SizeIs(2));
  EXPECT_EQ(text.lines[0], "one two");
  EXPECT_THAT(text.lines[1], EndsWith("…"));
}

TEST(WrappedText, IsNotShortenedWhereTheLastLineHoldsTheRest) {
  EXPECT_FALSE(wrapped("one two three", width_of("one two"), kSize, false, 2).is_shortened);
}

TEST(WrappedText, HasALetterALineAtLeast) {
  EXPECT_THAT(wrapped("äö", 0.1, kSize, false, 5).lines, ElementsAre("ä", "ö"));
  EXPECT_THAT(wrapped("äö", 0.1, kSize, false, 1).lines, ElementsAre("…"));
}

TEST(WrappedText, KeepsAccentsOnTheirLetters) {
  const std::string letter = "W\xCC\x81";
  EXPECT_THAT(wrapped(letter + letter + letter, width_of("WW") + 0.01, kSize, false, 5).lines,
              ElementsAre(letter + letter, letter));
}

TEST(WrappedText, NeverExceedsItsWidthAndLosesNothing) {
  std::mt19937 engine(14);
  const std::string letters[] = {"a", "i", "W", " ", " ", "ø", "€", "钢", "é", "1", "."};
  for (int round = 0; round < 200; ++round) {
    std::string text;
    const std::size_t length = engine() % 200;
    for (std::size_t i = 0; i < length; ++i) text += letters[engine() % std::size(letters)];
    const double width = 4 + static_cast<double>(engine() % 60);
    const WrappedText result = wrapped(text, width, kSize, round % 2 == 0, 1000);
    std::string all;
    for (const std::string& line : result.lines) {
      EXPECT_LE(text_width(line, kSize, round % 2 == 0), width + 1e-9) << line;
      all += line;
    }
    const auto without_blanks = [](std::string some) {
      std::erase(some, ' ');
      return some;
    };
    EXPECT_EQ(without_blanks(all), without_blanks(text));
    EXPECT_FALSE(result.is_shortened);
  }
}

TEST(WrappedText, TakesTimeForItsLinesOnly) {
  const std::string text(20'000'000, 'x');
  const auto start = std::chrono::steady_clock::now();
  const WrappedText result = wrapped(text, 100, kSize, false, 3);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  EXPECT_TRUE(result.is_shortened);
  EXPECT_THAT(result.lines, SizeIs(3));
}

TEST(WrappedText, SaysThatThereIsMoreAfterManySignsThatAreLeftOut) {
  std::string text = "a";
  for (int i = 0; i < 10'000; ++i) text += "\xE2\x80\xAE";
  const WrappedText lines = wrapped(text + "hidden", 40, 3, false, 3);
  EXPECT_THAT(lines.lines, testing::ElementsAre("a", "…"));
  EXPECT_TRUE(lines.is_shortened);
}

}  // namespace
}  // namespace korvane::schedule::drawing
