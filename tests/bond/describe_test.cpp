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
struct WithoutFirst {
  std::int32_t first = 0;
};
struct WithoutSecond {
  std::int32_t first = 0;
  std::int32_t third = 0;
};
struct TooWide {
  std::int32_t first = 0;
  std::int32_t third = 0;
};
struct GapTwice {
  std::int32_t first = 0;
};

}  // namespace

namespace bond {

template <>
struct Describe<Whole> {
  static constexpr std::string_view qualified_name = "tests.Whole";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &Whole::first>{"first"});
    visit(Gap<1, 2>{});
    visit(Field<3, &Whole::second>{"second"});
    visit(Gap<4>{});
    visit(Gap<5, 299>{});
    visit(Field<300, &Whole::third>{"third"});
    visit(Gap<301>{});
  }
};
template <>
struct Describe<Forgotten> {
  static constexpr std::string_view qualified_name = "tests.Forgotten";
  using base = Whole;
  static constexpr void fields(auto&&) {}
};
template <>
struct Describe<OneForgotten> {
  static constexpr std::string_view qualified_name = "tests.OneForgotten";
  static constexpr void fields(auto&& visit) { visit(Field<0, &OneForgotten::first>{"first"}); }
};
template <>
struct Describe<Falling> {
  static constexpr std::string_view qualified_name = "tests.Falling";
  static constexpr void fields(auto&& visit) {
    visit(Field<1, &Falling::first>{"first"});
    visit(Field<0, &Falling::second>{"second"});
  }
};
template <>
struct Describe<Repeated> {
  static constexpr std::string_view qualified_name = "tests.Repeated";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &Repeated::first>{"first"});
    visit(Field<0, &Repeated::second>{"second"});
  }
};
template <>
struct Describe<Derived> {
  static constexpr std::string_view qualified_name = "tests.Derived";
  using base = Whole;
  static constexpr void fields(auto&& visit) { visit(Field<0, &Derived::fourth>{"fourth"}); }
};
template <>
struct Describe<Nested> {
  static constexpr std::string_view qualified_name = "tests.Nested";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &Nested::whole>{"whole"});
    visit(Field<1, &Nested::list>{"list"});
  }
};
template <>
struct Describe<NestedForgotten> {
  static constexpr std::string_view qualified_name = "tests.NestedForgotten";
  static constexpr void fields(auto&& visit) { visit(Field<0, &NestedForgotten::whole>{"whole"}); }
};
template <>
struct Describe<Without> {
  static constexpr std::string_view qualified_name = "tests.Without";
  static constexpr void fields(auto&&) {}
};

template <>
struct Describe<WithoutFirst> {
  static constexpr std::string_view qualified_name = "tests.WithoutFirst";
  static constexpr void fields(auto&& visit) { visit(Field<1, &WithoutFirst::first>{"first"}); }
};
template <>
struct Describe<WithoutSecond> {
  static constexpr std::string_view qualified_name = "tests.WithoutSecond";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &WithoutSecond::first>{"first"});
    visit(Field<2, &WithoutSecond::third>{"third"});
  }
};
template <>
struct Describe<TooWide> {
  static constexpr std::string_view qualified_name = "tests.TooWide";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &TooWide::first>{"first"});
    visit(Gap<1, 2>{});
    visit(Field<2, &TooWide::third>{"third"});
  }
};
template <>
struct Describe<GapTwice> {
  static constexpr std::string_view qualified_name = "tests.GapTwice";
  static constexpr void fields(auto&& visit) {
    visit(Gap<0>{});
    visit(Gap<0>{});
    visit(Field<1, &GapTwice::first>{"first"});
  }
};

}  // namespace bond

namespace {

TEST(Describe, NamesEveryMember) {
  EXPECT_TRUE(bond::describes_every_member<Whole>());
  EXPECT_TRUE(bond::describes_every_member<Nested>());
  EXPECT_TRUE(bond::describes_every_member<Without>());
  EXPECT_FALSE(bond::describes_every_member<OneForgotten>());
  EXPECT_FALSE(bond::describes_every_member<NestedForgotten>());
}

TEST(Describe, CountsTheBaseAsDescribedByItself) {
  EXPECT_TRUE(bond::describes_every_member<Derived>());
  EXPECT_EQ(bond::field_count<Derived>(), 1U);
  EXPECT_FALSE(bond::describes_every_member<Forgotten>());
}

TEST(Describe, AccountsForEveryOrdinalByAFieldOrAGap) {
  EXPECT_TRUE(bond::accounts_for_every_ordinal<Whole>());
  EXPECT_TRUE(bond::accounts_for_every_ordinal<Nested>());
  EXPECT_TRUE(bond::accounts_for_every_ordinal<Without>());
}

TEST(Describe, MissesAnOrdinalThatIsNeitherAFieldNorInAGap) {
  EXPECT_FALSE(bond::accounts_for_every_ordinal<WithoutFirst>());
  EXPECT_FALSE(bond::accounts_for_every_ordinal<WithoutSecond>());
}

TEST(Describe, RefusesOrdinalsThatFall) {
  EXPECT_FALSE(bond::accounts_for_every_ordinal<Falling>());
}

TEST(Describe, RefusesAnOrdinalTwice) {
  EXPECT_FALSE(bond::accounts_for_every_ordinal<Repeated>());
  EXPECT_FALSE(bond::accounts_for_every_ordinal<TooWide>());
  EXPECT_FALSE(bond::accounts_for_every_ordinal<GapTwice>());
}

TEST(Describe, VisitsTheFieldsInAscendingOrdinalWithoutTheGaps) {
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

TEST(Describe, CountsTheFieldsWithoutTheGaps) { EXPECT_EQ(bond::field_count<Whole>(), 3U); }

TEST(Describe, PlainNameStandsAfterTheLastDot) {
  EXPECT_EQ(bond::plain_name("korvane.model.cad.Rebar"), "Rebar");
  EXPECT_EQ(bond::plain_name("Rebar"), "Rebar");
}

TEST(Describe, NamespaceNameStandsBeforeTheLastDot) {
  EXPECT_EQ(bond::namespace_name("korvane.model.cad.Rebar"), "korvane.model.cad");
  EXPECT_EQ(bond::namespace_name("Rebar"), "");
}

}  // namespace
