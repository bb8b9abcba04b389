#include "schedule/query.h"

#include <gtest/gtest.h>

#include "schedule/value_text.h"

namespace korvane::schedule {
namespace {

TEST(NumbersInCells, AreReadFromWhateverHoldsThem) {
  Variant none;
  Variant integer;
  integer.value_int32.set(7);
  Variant real;
  real.value_double.set(7.9);
  Variant text;
  text.value_string.set("12345678901.5");
  EXPECT_EQ(integer_in(none), 0);
  EXPECT_EQ(integer_in(integer), 7);
  EXPECT_EQ(integer_in(real), 7);
  EXPECT_EQ(integer_in(text), 12345678901);
  EXPECT_EQ(number_in(none), 0);
  EXPECT_EQ(number_in(integer), 7);
  EXPECT_EQ(number_in(real), 7.9);
  EXPECT_EQ(number_in(text), 12345678901.5);
}

TEST(VariantText, HasSixDecimalsAtMost) {
  Variant value;
  value.value_double.set(1.23456789);
  EXPECT_EQ(variant_text(value), "1.234568");
}

}  // namespace
}  // namespace korvane::schedule
