#include "bond/kinds.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "bond/wire_type.h"

namespace {

enum class Face : std::int32_t { kLeft = 0 };

struct Point {
  double x = 0;
};

}  // namespace

template <>
struct bond::Describe<Point> {
  static constexpr std::string_view qualified_name = "tests.Point";
  static constexpr void fields(auto&& visit) { visit(Field<0, &Point::x>{"x"}); }
};

namespace {

/// The kinds that `T` is of.
template <class T>
std::set<std::string> kinds_of() {
  std::set<std::string> kinds;
  if (bond::Bool<T>) kinds.insert("bool");
  if (bond::Int32<T>) kinds.insert("int32");
  if (bond::Double<T>) kinds.insert("double");
  if (bond::Text<T>) kinds.insert("text");
  if (bond::Enumeration<T>) kinds.insert("enumeration");
  if (bond::Blob<T>) kinds.insert("blob");
  if (bond::Nullable<T>) kinds.insert("nullable");
  if (bond::List<T>) kinds.insert("list");
  if (bond::Map<T>) kinds.insert("map");
  if (bond::Maybe<T>) kinds.insert("maybe");
  if (bond::Record<T>) kinds.insert("record");
  return kinds;
}

using Kinds = std::set<std::string>;

TEST(Kinds, EachTypeOfAContractIsOfOne) {
  EXPECT_EQ(kinds_of<bool>(), Kinds{"bool"});
  EXPECT_EQ(kinds_of<std::int32_t>(), Kinds{"int32"});
  EXPECT_EQ(kinds_of<double>(), Kinds{"double"});
  EXPECT_EQ(kinds_of<std::string>(), Kinds{"text"});
  EXPECT_EQ(kinds_of<Face>(), Kinds{"enumeration"});
  EXPECT_EQ(kinds_of<bond::blob>(), Kinds{"blob"});
  EXPECT_EQ(kinds_of<bond::nullable<Point>>(), Kinds{"nullable"});
  EXPECT_EQ(kinds_of<std::vector<std::string>>(), Kinds{"list"});
  EXPECT_EQ((kinds_of<std::map<std::string, Point>>()), Kinds{"map"});
  EXPECT_EQ(kinds_of<bond::maybe<std::int32_t>>(), Kinds{"maybe"});
  EXPECT_EQ(kinds_of<Point>(), Kinds{"record"});
}

TEST(Kinds, OtherTypesAreOfNone) {
  EXPECT_EQ(kinds_of<std::int64_t>(), Kinds{});
  EXPECT_EQ(kinds_of<float>(), Kinds{});
  EXPECT_EQ(kinds_of<char*>(), Kinds{});
  EXPECT_EQ((kinds_of<std::array<double, 2>>()), Kinds{});
  EXPECT_EQ(kinds_of<std::set<std::string>>(), Kinds{});
}

TEST(Kinds, AreBasicOrContainersOrNeither) {
  EXPECT_TRUE(bond::Basic<bool> && bond::Basic<std::int32_t> && bond::Basic<double> &&
              bond::Basic<std::string> && bond::Basic<Face>);
  EXPECT_FALSE(bond::Basic<bond::blob> || bond::Basic<bond::maybe<double>> || bond::Basic<Point>);
  EXPECT_TRUE(bond::Container<bond::blob> && bond::Container<bond::nullable<double>> &&
              bond::Container<std::vector<double>>);
  EXPECT_TRUE((bond::Container<std::map<std::string, double>>));
  EXPECT_FALSE(bond::Container<std::string> || bond::Container<bond::maybe<double>> ||
               bond::Container<Point>);
}

template <class T>
concept HasWireType = requires {
  bond::wire_type<T>();
};

TEST(Kinds, ATypeOfNoneHasNoWireType) {
  EXPECT_TRUE(HasWireType<std::int32_t>);
  EXPECT_FALSE(HasWireType<std::int64_t>);
  EXPECT_FALSE(HasWireType<float>);
}

}  // namespace
