#include "bond/enumeration.h"

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/bond/thrown_text.h"

namespace {

enum class Colour : std::int32_t { kRed = 0, kGreen = 1, kBlue = 7 };

}  // namespace

template <>
struct bond::DescribeEnum<Colour> {
  static constexpr std::string_view qualified_name = "tests.paint.Colour";
  static constexpr std::array enumerators = {Enumerator<Colour>{"kRed", Colour::kRed},
                                             Enumerator<Colour>{"kGreen", Colour::kGreen},
                                             Enumerator<Colour>{"kBlue", Colour::kBlue}};
};

namespace {

using korvane::test::thrown_text;

TEST(Enumeration, IsLookedUpByNameAndByValue) {
  const std::map<std::string, Colour> by_name = {
      {"kRed", Colour::kRed}, {"kGreen", Colour::kGreen}, {"kBlue", Colour::kBlue}};
  const std::map<Colour, std::string> by_value = {
      {Colour::kRed, "kRed"}, {Colour::kGreen, "kGreen"}, {Colour::kBlue, "kBlue"}};
  EXPECT_EQ(bond::EnumMaps<Colour>::name_to_value, by_name);
  EXPECT_EQ(bond::EnumMaps<Colour>::value_to_name, by_value);
}

TEST(Enumeration, TurnsAnEnumeratorIntoItsNameAndBack) {
  EXPECT_EQ(bond::to_string(Colour::kBlue), "kBlue");
  EXPECT_EQ(bond::from_string<Colour>("kBlue"), Colour::kBlue);
}

TEST(Enumeration, RefusesANumberThatHasNoName) {
  EXPECT_EQ(thrown_text<bond::CoreException>([] { bond::to_string(static_cast<Colour>(2)); }),
            "Unexpected value 2 for enum Colour");
  EXPECT_EQ(thrown_text<bond::CoreException>([] { bond::to_string(static_cast<Colour>(-3)); }),
            "Unexpected value -3 for enum Colour");
}

TEST(Enumeration, RefusesANameThatThereIsNot) {
  EXPECT_EQ(thrown_text<bond::CoreException>([] { bond::from_string<Colour>("kPurple"); }),
            "Unexpected value kPurple for enum Colour");
  EXPECT_EQ(thrown_text<bond::CoreException>([] { bond::from_string<Colour>(""); }),
            "Unexpected value  for enum Colour");
}

TEST(Enumeration, NamesAreCaseSensitive) {
  EXPECT_EQ(thrown_text<bond::CoreException>([] { bond::from_string<Colour>("kred"); }),
            "Unexpected value kred for enum Colour");
}

}  // namespace
