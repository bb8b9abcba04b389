#include "bond/metadata.h"

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "bond/blob.h"
#include "bond/maybe.h"
#include "bond/nullable.h"

namespace {

enum class Side : std::int32_t { kLeft = 0, kRight = 1 };

struct Inner {
  std::int32_t number = 0;
};

struct Sample {
  bool flag = true;
  std::int32_t number = -1;
  double length = 0.04;
  std::string text = "given";
  Side side = Side::kRight;
  bond::maybe<std::int32_t> reference;
  bond::nullable<double> optional;
  std::vector<Inner> list;
  std::map<std::string, Inner> map;
  Inner inner;
  bond::blob bytes;
};

}  // namespace

namespace bond {

template <>
struct Describe<Inner> {
  static constexpr std::string_view qualified_name = "Inner";
  static constexpr void fields(auto&& visit) { visit(Field<7, &Inner::number>{"number"}); }
};

template <>
struct Describe<Sample> {
  static constexpr std::string_view qualified_name = "tests.deep.Sample";
  static constexpr std::array attributes = {Attribute{"Store", "raw"}, Attribute{"Key", "number"}};
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &Sample::flag>{"flag"});
    visit(Field<1, &Sample::number>{"number", {"Option", "unique"}});
    visit(Field<2, &Sample::length>{"length"});
    visit(Field<3, &Sample::text>{"text"});
    visit(Field<4, &Sample::side>{"side"});
    visit(Field<5, &Sample::reference>{"reference"});
    visit(Field<6, &Sample::optional>{"optional"});
    visit(Field<8, &Sample::list>{"list"});
    visit(Field<9, &Sample::map>{"map"});
    visit(Field<10, &Sample::inner>{"inner"});
    visit(Field<300, &Sample::bytes>{"bytes"});
  }
};

}  // namespace bond

namespace {

using Attributes = std::map<std::string, std::string>;

const bond::FieldMetadata& field(const std::string& name) {
  for (const auto& described : bond::Schema<Sample>::fields) {
    if (described.metadata.name == name) return described;
  }
  throw std::out_of_range(name);
}

const bond::Variant& default_of(const std::string& name) {
  return field(name).metadata.default_value;
}

bond::Variant no_default() { return {}; }

TEST(Metadata, OfAStructHasPlainAndQualifiedName) {
  EXPECT_EQ(bond::Schema<Sample>::metadata.name, "Sample");
  EXPECT_EQ(bond::Schema<Sample>::metadata.qualified_name, "tests.deep.Sample");
  EXPECT_EQ(bond::Schema<Inner>::metadata.name, "Inner");
}

TEST(Metadata, OfAStructHasItsAttributes) {
  EXPECT_EQ(bond::Schema<Sample>::metadata.attributes,
            (Attributes{{"Key", "number"}, {"Store", "raw"}}));
  EXPECT_EQ(bond::Schema<Inner>::metadata.attributes, Attributes());
}

TEST(Metadata, OfAFieldHasItsAttributes) {
  EXPECT_EQ(field("number").metadata.attributes, (Attributes{{"Option", "unique"}}));
  EXPECT_EQ(field("flag").metadata.attributes, Attributes());
}

TEST(Metadata, OfAFieldHasNoQualifiedName) {
  for (const auto& described : bond::Schema<Sample>::fields) {
    EXPECT_EQ(described.metadata.qualified_name, "") << described.metadata.name;
  }
}

TEST(Metadata, EveryFieldIsOptional) {
  for (const auto& described : bond::Schema<Sample>::fields) {
    EXPECT_EQ(described.metadata.modifier, bond::Optional) << described.metadata.name;
  }
}

TEST(Metadata, ListsTheFieldsWithOrdinalAndWireTypeInOrder) {
  std::vector<std::string> listed;
  for (const auto& described : bond::Schema<Sample>::fields) {
    listed.push_back(std::to_string(described.id) + " " + described.metadata.name + " " +
                     std::to_string(described.type));
  }
  EXPECT_EQ(listed,
            (std::vector<std::string>{"0 flag 2", "1 number 16", "2 length 8", "3 text 9",
                                      "4 side 16", "5 reference 16", "6 optional 11", "8 list 11",
                                      "9 map 13", "10 inner 10", "300 bytes 11"}));
}

TEST(Metadata, DefaultOfABoolIsAnUnsignedNumber) {
  bond::Variant expected;
  expected.uint_value = 1;
  EXPECT_EQ(default_of("flag"), expected);
}

TEST(Metadata, DefaultOfAnIntegerIsASignedNumber) {
  bond::Variant expected;
  expected.int_value = -1;
  EXPECT_EQ(default_of("number"), expected);
}

TEST(Metadata, DefaultOfAnEnumerationIsASignedNumber) {
  bond::Variant expected;
  expected.int_value = 1;
  EXPECT_EQ(default_of("side"), expected);
}

TEST(Metadata, DefaultOfADoubleIsADouble) {
  bond::Variant expected;
  expected.double_value = 0.04;
  EXPECT_EQ(default_of("length"), expected);
}

TEST(Metadata, DefaultOfATextIsAText) {
  bond::Variant expected;
  expected.string_value = "given";
  EXPECT_EQ(default_of("text"), expected);
}

TEST(Metadata, DefaultOfAMaybeIsNothing) {
  bond::Variant expected;
  expected.nothing = true;
  EXPECT_EQ(default_of("reference"), expected);
}

TEST(Metadata, NullablesContainersAndStructsStateNoDefault) {
  for (const std::string name : {"optional", "list", "map", "inner", "bytes"}) {
    EXPECT_EQ(default_of(name), no_default()) << name;
  }
}

TEST(Metadata, ModifiersAreNumberedFromOptional) {
  EXPECT_EQ(static_cast<int>(bond::Optional), 0);
  EXPECT_EQ(static_cast<int>(bond::Required), 1);
  EXPECT_EQ(static_cast<int>(bond::RequiredOptional), 2);
}

TEST(WireType, CodesAreThoseOfTheFormat) {
  const std::vector<int> codes = {
      bond::BT_STOP,   bond::BT_STOP_BASE, bond::BT_BOOL,  bond::BT_UINT8,  bond::BT_UINT16,
      bond::BT_UINT32, bond::BT_UINT64,    bond::BT_FLOAT, bond::BT_DOUBLE, bond::BT_STRING,
      bond::BT_STRUCT, bond::BT_LIST,      bond::BT_SET,   bond::BT_MAP,    bond::BT_INT8,
      bond::BT_INT16,  bond::BT_INT32,     bond::BT_INT64, bond::BT_WSTRING};
  for (int code = 0; code < 19; ++code) {
    EXPECT_EQ(codes[static_cast<std::size_t>(code)], code);
  }
}

}  // namespace
