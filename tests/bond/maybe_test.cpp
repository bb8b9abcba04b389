#include "bond/maybe.h"

#include <cstdint>
#include <new>
#include <string>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include "bond/exception.h"
#include "tests/bond/thrown_text.h"

namespace {

using bond::maybe;
using korvane::test::thrown_text;

TEST(Maybe, IsNothingWhenMade) {
  const maybe<std::int32_t> number;
  EXPECT_TRUE(number.is_nothing());
  EXPECT_FALSE(static_cast<bool>(number));
}

TEST(Maybe, HoldsTheValueItIsMadeWith) {
  const maybe<std::string> text(std::string("s-1"));
  EXPECT_FALSE(text.is_nothing());
  EXPECT_TRUE(static_cast<bool>(text));
  EXPECT_EQ(text.value(), "s-1");
}

TEST(Maybe, ReadingNothingThrowsCoreException) {
  maybe<std::int32_t> number;
  EXPECT_EQ(thrown_text<bond::CoreException>([&] { static_cast<void>(number.value()); }),
            "Field value is 'nothing'");
}

TEST(Maybe, ReadingNothingOfAConstantThrowsCoreException) {
  const maybe<std::string> text;
  EXPECT_EQ(thrown_text<bond::CoreException>([&] { static_cast<void>(text.value()); }),
            "Field value is 'nothing'");
}

TEST(Maybe, ReadingAValueThatWasTakenAwayThrowsCoreException) {
  maybe<std::int32_t> number(5);
  number.set_nothing();
  EXPECT_TRUE(number.is_nothing());
  EXPECT_EQ(thrown_text<bond::CoreException>([&] { static_cast<void>(number.value()); }),
            "Field value is 'nothing'");
}

TEST(Maybe, GivesItsValueUncheckedOnDemand) {
  maybe<std::int32_t> number(5);
  number.value(std::nothrow) = 6;
  const maybe<std::int32_t>& constant = number;
  EXPECT_EQ(constant.value(std::nothrow), 6);
  EXPECT_TRUE(noexcept(constant.value(std::nothrow)));
}

TEST(Maybe, TellsADefaultValueFromNothing) {
  const maybe<std::int32_t> zero(0);
  const maybe<std::int32_t> nothing;
  EXPECT_FALSE(zero == nothing);
  EXPECT_FALSE(nothing == zero);
  EXPECT_FALSE(maybe<std::string>(std::string()) == maybe<std::string>());
}

TEST(Maybe, EqualsAnotherWhenBothAreNothingOrBothHoldEqualValues) {
  const maybe<std::int32_t> nothing;
  const maybe<std::int32_t> four(4);
  EXPECT_TRUE(nothing == maybe<std::int32_t>(nothing));
  EXPECT_TRUE(four == maybe<std::int32_t>(4));
  EXPECT_TRUE(four != maybe<std::int32_t>(5));
}

TEST(Maybe, IsComparedWithAValueFromBothSides) {
  const maybe<std::int32_t> number(4);
  EXPECT_TRUE(number == 4);
  EXPECT_TRUE(4 == number);
  EXPECT_TRUE(number != 5);
  EXPECT_TRUE(5 != number);
}

TEST(Maybe, NothingEqualsNoValue) {
  const maybe<std::int32_t> number;
  EXPECT_FALSE(number == 0);
  EXPECT_FALSE(0 == number);
}

TEST(Maybe, TakesAValueByAssignment) {
  maybe<std::string> text;
  const std::string first = "first";
  text = first;
  EXPECT_EQ(text.value(), "first");
  text = std::string("second");
  EXPECT_EQ(text.value(), "second");
}

TEST(Maybe, SetValueMakesADefaultWhenThereIsNothing) {
  maybe<std::int32_t> number;
  EXPECT_EQ(number.set_value(), 0);
  EXPECT_FALSE(number.is_nothing());
}

TEST(Maybe, SetValueKeepsTheValueThatIsThere) {
  maybe<std::string> text(std::string("kept"));
  EXPECT_EQ(text.set_value(), "kept");
  text.set_value() += "!";
  EXPECT_EQ(text.value(), "kept!");
}

TEST(Maybe, IsNothingOnceMovedFrom) {
  maybe<std::string> source(std::string("moved"));
  maybe<std::string> target = std::move(source);
  EXPECT_EQ(target.value(), "moved");
  EXPECT_TRUE(source.is_nothing());  // NOLINT(bugprone-use-after-move): it is what is asked
}

TEST(Maybe, IsNothingOnceMoveAssignedFrom) {
  maybe<std::string> source(std::string("moved"));
  maybe<std::string> target;
  target = std::move(source);
  EXPECT_EQ(target.value(), "moved");
  EXPECT_TRUE(source.is_nothing());  // NOLINT(bugprone-use-after-move): it is what is asked
}

TEST(Maybe, KeepsItsValueWhenAssignedToItself) {
  maybe<std::string> text(std::string("kept"));
  maybe<std::string>& same = text;
  text = same;
  text = std::move(same);
  EXPECT_EQ(text.value(), "kept");
}

TEST(Maybe, CopiesShareNothing) {
  const maybe<std::string> original(std::string("one"));
  maybe<std::string> copy = original;
  copy.value() = "two";
  EXPECT_EQ(original.value(), "one");
  copy = maybe<std::string>();
  EXPECT_TRUE(copy.is_nothing());
}

TEST(Maybe, IsNoNumberByItself) {
  EXPECT_FALSE((std::is_convertible_v<maybe<std::int32_t>, bool>));
  EXPECT_FALSE((std::is_convertible_v<std::int32_t, maybe<std::int32_t>>));
}

}  // namespace
