#include "bond/describe.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

struct Whole {
  std::int32_t first = 0;
  std::string second;
  double third = 0.0;
};
struct Forgotten : Whole {
  std::int32_t fourth = 0;
};
struct OneForgotten {
  std::int32_t first = 0;
  std::string second;
};
struct Falling {
  std::int32_t first = 0;
  std::int32_t second = 0;
};
struct Repeated {
  std::int32_t first = 0;
  std::int32_t second = 0;
};
struct Derived : Whole {
  std::int32_t fourth = 0;
};
struct Nested {
  Whole whole;
  std::vector<Whole> list;
};
struct NestedForgotten {
  Whole whole;
  std::vector<Whole> list;
};
struct Without {};

}  // namespace

namespace bond {

template <>
struct Describe<Whole> {
  static constexpr std::string_view qualified_name = "tests.Whole";
  static constexpr auto fields(auto&& list) {
    return list(Field<0, &Whole::first>{"first"}, Field<3, &Whole::second>{"second"},
                Field<300, &Whole::third>{"third"});
  }
};
template <>
struct Describe<Forgotten> {
  static constexpr std::string_view qualified_name = "tests.Forgotten";
  using base = Whole;
  static constexpr auto fields(auto&& list) { return list(); }
};
template <>
struct Describe<OneForgotten> {
  static constexpr std::string_view qualified_name = "tests.OneForgotten";
  static constexpr auto fields(auto&& list) {
    return list(Field<0, &OneForgotten::first>{"first"});
  }
};
template <>
struct Describe<Falling> {
  static constexpr std::string_view qualified_name = "tests.Falling";
  static constexpr auto fields(auto&& list) {
    return list(Field<1, &Falling::first>{"first"}, Field<0, &Falling::second>{"second"});
  }
};
template <>
struct Describe<Repeated> {
  static constexpr std::string_view qualified_name = "tests.Repeated";
  static constexpr auto fields(auto&& list) {
    return list(Field<4, &Repeated::first>{"first"}, Field<4, &Repeated::second>{"second"});
  }
};
template <>
struct Describe<Derived> {
  static constexpr std::string_view qualified_name = "tests.Derived";
  using base = Whole;
  static constexpr auto fields(auto&& list) { return list(Field<0, &Derived::fourth>{"fourth"}); }
};
template <>
struct Describe<Nested> {
  static constexpr std::string_view qualified_name = "tests.Nested";
  static constexpr auto fields(auto&& list) {
    return list(Field<0, &Nested::whole>{"whole"}, Field<1, &Nested::list>{"list"});
  }
};
template <>
struct Describe<NestedForgotten> {
  static constexpr std::string_view qualified_name = "tests.NestedForgotten";
  static constexpr auto fields(auto&& list) {
    return list(Field<0, &NestedForgotten::whole>{"whole"});
  }
};
template <>
struct Describe<Without> {
  static constexpr std::string_view qualified_name = "tests.Without";
  static constexpr auto fields(auto&& list) { return list(); }
};

}  // namespace bond

namespace {

static_assert(bond::is_described_whole<Whole>());
static_assert(bond::is_described_whole<Nested>());
static_assert(bond::is_described_whole<Derived>());
static_assert(bond::is_described_whole<Without>());
static_assert(!bond::is_described_whole<OneForgotten>());
static_assert(!bond::is_described_whole<NestedForgotten>());
static_assert(!bond::is_described_whole<Forgotten>());
static_assert(!bond::is_described_whole<Falling>());
static_assert(!bond::is_described_whole<Repeated>());

TEST(Describe, IsWholeWhenItNamesEveryMemberInRisingOrdinals) {
  EXPECT_TRUE(bond::is_described_whole<Whole>());
  EXPECT_TRUE(bond::is_described_whole<Nested>());
  EXPECT_TRUE(bond::is_described_whole<Without>());
}

TEST(Describe, CountsTheBaseAsDescribedByItself) {
  EXPECT_TRUE(bond::is_described_whole<Derived>());
  EXPECT_EQ(bond::field_count<Derived>(), 1U);
}

TEST(Describe, IsNotWholeWithAForgottenField) {
  EXPECT_FALSE(bond::is_described_whole<OneForgotten>());
  EXPECT_FALSE(bond::is_described_whole<NestedForgotten>());
}

TEST(Describe, IsNotWholeWithAForgottenFieldBehindABase) {
  EXPECT_FALSE(bond::is_described_whole<Forgotten>());
}

TEST(Describe, IsNotWholeWithFallingOrdinals) { EXPECT_FALSE(bond::is_described_whole<Falling>()); }

TEST(Describe, IsNotWholeWithAnOrdinalTwice) { EXPECT_FALSE(bond::is_described_whole<Repeated>()); }

TEST(Describe, VisitsTheFieldsInAscendingOrdinal) {
  std::vector<std::string> visited;
  bond::for_each_field<Whole>([&](auto field) {
    visited.push_back(std::to_string(field.ordinal) + " " + std::string(field.name));
  });
  EXPECT_EQ(visited, (std::vector<std::string>{"0 first", "3 second", "300 third"}));
}

TEST(Describe, DoesNotVisitTheFieldsOfTheBase) {
  std::vector<std::string_view> visited;
  bond::for_each_field<Derived>([&](auto field) { visited.push_back(field.name); });
  EXPECT_EQ(visited, (std::vector<std::string_view>{"fourth"}));
}

TEST(Describe, ReachesTheMembersThroughTheFields) {
  const Whole record{5, "five", 5.5};
  double sum = 0;
  bond::for_each_field<Whole>([&](auto field) {
    if constexpr (requires { sum + record.*field.member; }) sum += record.*field.member;
  });
  EXPECT_EQ(sum, 10.5);
}

TEST(Describe, PlainNameStandsBehindTheLastDot) {
  EXPECT_EQ(bond::plain_name("korvane.model.cad.Rebar"), "Rebar");
  EXPECT_EQ(bond::plain_name("Rebar"), "Rebar");
}

}  // namespace
