#include "schedule/bvbs/numbers.h"

#include <limits>

#include <gtest/gtest.h>

namespace korvane::schedule::bvbs {
namespace {

TEST(NumberText, IsTheShortestThatReadsAsTheNumber) {
  EXPECT_EQ(number_text(0.1), "0.1");
  EXPECT_EQ(number_text(400), "400");
  EXPECT_EQ(number_text(-45.58), "-45.58");
  EXPECT_EQ(number_text(0.1 + 0.2), "0.30000000000000004");
}

TEST(NumberText, AZeroHasNoSign) { EXPECT_EQ(number_text(-0.0), "0"); }

TEST(NumberText, HasNoExponentAtTheEndsOfTheRange) {
  using Limits = std::numeric_limits<double>;
  for (const double number :
       {Limits::max(), Limits::lowest(), Limits::min(), Limits::denorm_min(), 1e23, 1e-7}) {
    const std::string text = number_text(number);
    EXPECT_EQ(text.find_first_of("eE"), std::string::npos) << text;
    EXPECT_EQ(parse_number(text), number);
  }
}

TEST(NumberTextThat, TakesTheTextThatPeopleWrote) {
  const double total = 0.1 * 3;
  EXPECT_NE(number_text(total / 3), "0.1");
  EXPECT_EQ(number_text_that(total / 3, [&](double one) { return one * 3 == total; }), "0.1");
}

TEST(NumberTextThat, TakesANeighbourWhoseDigitsAreMany) {
  const double wanted = std::nextafter(std::nextafter(0.3, 1), 1);
  EXPECT_EQ(number_text_that(0.3, [&](double number) { return number == wanted; }),
            number_text(wanted));
}

TEST(NumberTextThat, TakesTheGuessWhereNothingFits) {
  EXPECT_EQ(number_text_that(1.5, [](double) { return false; }), "1.5");
}

TEST(ParseNumber, TakesPointAndComma) {
  EXPECT_EQ(parse_number("1.5"), 1.5);
  EXPECT_EQ(parse_number("1,5"), 1.5);
  for (const char* text : {"", "x", "1 ", "1.2.3", "inf", "nan", "1e999"}) {
    EXPECT_EQ(parse_number(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace korvane::schedule::bvbs
