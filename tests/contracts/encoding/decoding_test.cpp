#include <algorithm>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/bond/wire_samples.h"
#include "tests/contracts/encoding/records.h"

namespace {

namespace cad = korvane::model::cad;
using korvane::Variant;
using korvane::model::geometry::Point3d;
using korvane::test::decode_bytes;
using korvane::test::decode_bytes_into;
using korvane::test::decoded;
using korvane::test::decoding_error;
using korvane::test::encoded;
using korvane::test::from_hex;
using korvane::test::sample_field;
using korvane::test::sample_value;
using korvane::test::vector_text;

template <class T>
void decode_into(std::string_view text, T& record) {
  decode_bytes_into(from_hex(text), record);
}

TEST(Decoding, TakesFieldsInAnyOrder) {
  EXPECT_EQ(decoded<cad::Sheet>("69 01 63 49 01 6E 29 01 75 10 0E 00"),
            (cad::Sheet{.id = 7, .uid = "u", .name = "n", .comment = "c"}));
}

TEST(Decoding, ReadsPropertiesOfAnyNumberAndLength) {
  cad::Sheet sheet;
  for (int i = 0; i < 100; ++i) {
    sheet.properties["property " + std::to_string(i)].value_string.set(std::string(1000, 'x'));
  }
  cad::Sheet read;
  decode_into(encoded(sheet), read);
  EXPECT_EQ(read, sheet);
}

TEST(Decoding, TakesTheLaterOfTwoEqualFields) {
  EXPECT_EQ(decoded<cad::Sheet>("10 0E 29 01 61 10 10 29 01 62 00"),
            (cad::Sheet{.id = 8, .uid = "b"}));
}

TEST(Decoding, ReadsASecondStructOverTheFirst) {
  const auto material = decoded<cad::Material>("4A 09 01 61 29 01 62 00 4A 09 01 63 00 00");
  EXPECT_EQ(material.identity, (cad::Material_Identity{.name = "c", .description = "b"}));
}

TEST(Decoding, ReadsASecondNullableOverTheFirst) {
  const auto bar = decoded<cad::Rebar>("CB 10 0A 01 49 01 74 00 CB 10 0A 01 70 02 00 00");
  EXPECT_EQ(*bar.start_hook, (cad::Hook{.type = "t", .direction = cad::HookDirection::kRight}));
}

TEST(Decoding, ReplacesAMapByTheSecondOne) {
  const auto data = decoded<cad::ProjectData>("0D 09 0A 01 01 61 00 0D 09 0A 01 01 62 00 00");
  EXPECT_EQ(vector_text(data), R"({"properties":[["b",{}]]})");
}

TEST(Decoding, ReadsASecondListOverTheFirst) {
  const auto geometry = decoded<cad::RebarGeometry>(
      "4B 0A 02 08 00 00 00 00 00 00 F0 3F 00 00"
      "4B 0A 01 28 00 00 00 00 00 00 00 40 00 00");
  ASSERT_EQ(geometry.polyline.size(), 1U);
  EXPECT_EQ(geometry.polyline[0], (Point3d{.x = 1.0, .y = 2.0}));
}

TEST(Decoding, MergesTwoEntriesOfOneKey) {
  const auto data =
      decoded<cad::ProjectData>("0D 09 0A 02 01 6B 0B 10 01 02 00 01 6B 4B 09 01 01 71 00 00");
  EXPECT_EQ(vector_text(data), R"({"properties":[["k",{"value_int32":1,"value_string":"q"}]]})");
}

TEST(Decoding, KeepsWhatTheTargetHeldWhereAFieldIsAbsent) {
  cad::Sheet target{.id = 5, .uid = "old", .name = "old", .comment = "kept"};
  target.properties["kept"].bool_.set(true);
  cad::Sheet expected = target;
  expected.name = "new";
  decode_into("49 03 6E 65 77 00", target);
  EXPECT_EQ(target, expected);
}

TEST(Decoding, KeepsWhatANestedStructHeld) {
  cad::Material target;
  target.physical.density = 7.85;
  target.physical.comment = "kept";
  decode_into("4A 00 6A 09 01 6E 00 00", target);
  EXPECT_EQ(target.physical,
            (cad::Material_Physical{.name = "n", .comment = "kept", .density = 7.85}));
}

TEST(Decoding, KeepsANullableThatIsAbsent) {
  cad::MountingPart target;
  target.member.set("B1");
  decode_into("00", target);
  EXPECT_EQ(*target.member, "B1");
}

TEST(Decoding, KeepsAValueThatTheWriterLeftOutAsADefault) {
  cad::Sheet target{.id = 5};
  decode_into(encoded(cad::Sheet{.id = -1}), target);
  EXPECT_EQ(target.id, 5);
}

TEST(Decoding, ReadsAStructOverTheOneANullableHolds) {
  cad::Rebar target;
  target.start_hook.set().type = "kept";
  decode_into("CB 10 0A 01 70 02 00 00", target);
  EXPECT_EQ(*target.start_hook,
            (cad::Hook{.type = "kept", .direction = cad::HookDirection::kRight}));
}

TEST(Decoding, ReadsElementsOverThoseThatTheListHolds) {
  cad::GeometryObject target;
  target.labels = {{.text = "kept"}, {.text = "gone"}};
  decode_into("AB 0A 01 10 04 00 00", target);
  ASSERT_EQ(target.labels.size(), 1U);
  EXPECT_EQ(target.labels[0],
            (cad::GeometryLabel{.type = cad::GeometryLabelType::Angle, .text = "kept"}));
}

TEST(Decoding, DoesNotEndARecordAtAStopOfABaseThatThereIsNot) {
  EXPECT_EQ(decoded<cad::Sheet>("10 0E 01 00"), cad::Sheet{.id = 7});
  EXPECT_EQ((decoding_error<bond::StreamException, cad::Sheet>("10 0E 01")),
            "Read out of bounds: 1 bytes requested, offset: 3, length: 3");
}

TEST(Decoding, GoesOnToTheStopOfANestedStructAfterAStopOfABaseThatThereIsNot) {
  const auto material = decoded<cad::Material>("4A 09 01 61 01 C9 63 01 78 00 10 02 00");
  EXPECT_EQ(material.id, 1);
  EXPECT_EQ(material.identity, cad::Material_Identity{.name = "a"});
}

// What stands behind is a derived record's part, with ordinals of its own.
TEST(Decoding, SkipsTheFieldsAfterAStopOfABaseThatThereIsNot) {
  EXPECT_EQ(decoded<cad::Sheet>("10 0E 01 49 01 6E 00"), cad::Sheet{.id = 7});
}

TEST(Decoding, ReadsADerivedRecordAsItsBase) {
  const auto reply = decoded<korvane::GenericReply>("0B 09 01 01 65 01 0B 09 01 01 78 00");
  EXPECT_EQ(*reply.error, "e");
}

TEST(Decoding, TakesAStopWithAnOrdinalForAStop) {
  EXPECT_EQ(decoded<cad::Sheet>("10 0A C0 05 29 01 75 00"), cad::Sheet{.id = 5});
}

TEST(Decoding, TakesAHeaderOfThreeBytes) {
  EXPECT_EQ(decoded<cad::Sheet>("F0 00 00 0E E9 02 00 01 6E 00"),
            (cad::Sheet{.id = 7, .name = "n"}));
}

TEST(Decoding, PassesOverAnOrdinalOfThreeBytesThatIsUnknown) {
  EXPECT_EQ(decoded<cad::Sheet>("E9 02 01 01 78 10 0E 00"), cad::Sheet{.id = 7});
}

TEST(Decoding, WidensAFloat) {
  EXPECT_EQ(decoded<cad::Material_Physical>("87 00 00 C0 3F 00").density, 1.5);
}

TEST(Decoding, WidensAFloatInsideANullable) {
  EXPECT_EQ(*decoded<cad::RebarParams>("2B 07 01 00 00 C0 3F 00").b, 1.5);
}

TEST(Decoding, WidensAnIntegerOfSixteenBits) {
  EXPECT_EQ(decoded<cad::Sheet>("0F D7 04 00").id, -300);
}

TEST(Decoding, WidensAnIntegerOfEightBits) { EXPECT_EQ(decoded<cad::Sheet>("0E FE 00").id, -2); }

TEST(Decoding, WidensAnEnumerationOfSixteenAndEightBits) {
  EXPECT_EQ(decoded<cad::Hook>("6F 02 00").direction, cad::HookDirection::kRight);
  EXPECT_EQ(decoded<cad::Hook>("6E 01 00").direction, cad::HookDirection::kRight);
}

TEST(Decoding, WidensAnIntegerInsideANullable) {
  EXPECT_EQ(*decoded<Variant>("0B 0F 01 D7 04 00").value_int32, -300);
  EXPECT_EQ(*decoded<Variant>("0B 0E 01 FE 00").value_int32, -2);
}

TEST(Decoding, ResetsANullableThatArrivesWithACountOfZero) {
  Variant target;
  target.value_int32.set(5);
  target.value_blob.set(bond::blob::copy_of("x", 1));
  decode_into("0B 10 00 6B 0B 00 00", target);
  EXPECT_EQ(target, Variant{});
}

TEST(Decoding, ResetsANullableStructThatArrivesWithACountOfZero) {
  cad::Rebar target;
  target.start_hook.set().type = "t";
  decode_into("CB 10 0A 00 00", target);
  EXPECT_TRUE(target.start_hook.empty());
}

TEST(Decoding, TakesTheFirstOfSeveralElementsOfANullable) {
  const auto value = decoded<Variant>("0B 10 03 0A 0C 0E 4B 09 02 01 70 01 71 00");
  EXPECT_EQ(*value.value_int32, 5);
  EXPECT_EQ(*value.value_string, "p");
}

TEST(Decoding, TakesTheFirstOfSeveralStructsOfANullable) {
  const auto bar = decoded<cad::Rebar>("CB 10 0A 02 49 01 61 00 49 01 62 00 D0 09 18 00");
  EXPECT_EQ(bar.start_hook->type, "a");
  EXPECT_EQ(bar.total_bars, 12);
}

TEST(Decoding, LeavesANullableAloneWhoseElementsDoNotFit) {
  Variant target;
  target.value_int32.set(5);
  decode_into("0B 09 01 01 78 2B 08 00 00", target);
  EXPECT_EQ(*target.value_int32, 5);
}

TEST(Decoding, LeavesANullableAloneWhoseNoElementsDoNotFit) {
  Variant target;
  target.value_int32.set(5);
  decode_into("0B 09 00 00", target);
  EXPECT_EQ(*target.value_int32, 5);
}

TEST(Decoding, LeavesAListAloneWhoseElementsDoNotFit) {
  cad::GeometryObject target;
  target.labels = {{.text = "kept"}};
  decode_into("AB 10 02 02 04 10 02 00", target);
  EXPECT_EQ(target.labels.size(), 1U);
  EXPECT_EQ(target.type, cad::GeometryObjectType::kArc);
}

TEST(Decoding, LeavesAMapAloneWhoseTypesDoNotFit) {
  cad::ProjectData target;
  target.properties["kept"];
  decode_into("0D 09 09 01 01 6B 01 76 0D 10 0A 01 02 00 00", target);
  EXPECT_EQ(vector_text(target), R"({"properties":[["kept",{}]]})");
}

TEST(Decoding, EmptiesAListThatArrivesWithACountOfZero) {
  cad::GeometryObject target;
  target.labels = {{.text = "gone"}};
  decode_into("AB 0A 00 00", target);
  EXPECT_TRUE(target.labels.empty());
}

TEST(Decoding, EmptiesAMapThatArrivesWithACountOfZero) {
  cad::ProjectData target;
  target.properties["gone"];
  decode_into("0D 09 0A 00 00", target);
  EXPECT_TRUE(target.properties.empty());
}

TEST(Decoding, IgnoresTheTopBitsOfAnElementType) {
  EXPECT_EQ(*decoded<Variant>("0B F0 01 0A 00").value_int32, 5);
  EXPECT_EQ(decoded<cad::RebarGeometry>("4B EA 01 00 00").polyline.size(), 1U);
}

TEST(Decoding, TakesTheTopBitsOfAKeyTypeForPartOfIt) {
  EXPECT_TRUE(decoded<cad::ProjectData>("0D 29 0A 01 00 00").properties.empty());
}

TEST(Decoding, TakesTheTopBitsOfAValueTypeForPartOfIt) {
  EXPECT_TRUE(decoded<cad::ProjectData>("0D 09 2A 01 00 00").properties.empty());
}

TEST(Decoding, LeavesABlobAloneWhoseBytesAreUnsigned) {
  Variant target;
  target.value_blob.set(bond::blob::copy_of("kept", 4));
  decode_into("6B 0B 01 03 02 61 62 0B 10 01 0A 00", target);
  EXPECT_EQ(vector_text(target), R"({"value_int32":5,"value_blob":{"$hex":"6b657074"}})");
}

TEST(Decoding, LeavesNothingInTheRecordThatRefersToTheBytes) {
  auto bytes = std::make_unique<std::string>(from_hex("4B 09 01 02 61 62 6B 0B 01 0E 02 63 64 00"));
  const auto value = decode_bytes<Variant>(*bytes);
  bytes->assign(bytes->size(), '?');
  bytes.reset();
  EXPECT_EQ(vector_text(value), R"({"value_string":"ab","value_blob":{"$hex":"6364"}})");
}

TEST(Decoding, IgnoresWhatFollowsTheRecord) {
  EXPECT_EQ(decoded<cad::Sheet>("10 0E 00 FF FF"), cad::Sheet{.id = 7});
}

TEST(Decoding, OfANestedStructWithoutItsStopTakesTheStopOfTheRecord) {
  EXPECT_EQ((decoding_error<bond::StreamException, cad::Material>("4A 09 01 61 00")),
            "Read out of bounds: 1 bytes requested, offset: 5, length: 5");
}

TEST(Decoding, OfAListThatIsTooLongToPassOverOverflows) {
  EXPECT_EQ((decoding_error<std::overflow_error, cad::Sheet>("CB 63 08 80 80 80 80 02 00")),
            "Overflow on multiplication");
  EXPECT_EQ((decoding_error<std::overflow_error, cad::Sheet>("CB 63 07 80 80 80 80 04 00")),
            "Overflow on multiplication");
}

TEST(Decoding, OfAWideStringThatIsTooLongToPassOverOverflows) {
  EXPECT_EQ((decoding_error<std::overflow_error, cad::Sheet>("D2 63 80 80 80 80 08 00")),
            "Overflow on multiplication");
}

/// A nullable of doubles under ordinal 0, `claimed` of them, of which one is there and 1.0, then
/// `rest`.
std::string surplus_doubles(const std::string& claimed, const std::string& rest) {
  return "0B 08 " + claimed + " 00 00 00 00 00 00 F0 3F " + rest;
}

TEST(Decoding, OfANullableGoesPastItsSurplusOneByOne) {
  const std::string two = "00 00 00 00 00 00 00 40 00 00 00 00 00 00 08 40 ";
  const cad::RebarParams expected{.a = bond::nullable<double>(1.0),
                                  .b = bond::nullable<double>(2.0)};
  const std::string b = "2B 08 01 00 00 00 00 00 00 00 40 00";
  EXPECT_EQ(decoded<cad::RebarParams>(surplus_doubles("03", two + b)), expected);
}

TEST(Decoding, OfANullableWhoseClaimedCountPassesTheEndTakesTheWholeElementsThatAreThere) {
  // Of five claimed two more are whole; the stop that ends the record follows them.
  const std::string two = "00 00 00 00 00 00 00 40 00 00 00 00 00 00 08 40 ";
  const cad::RebarParams expected{.a = bond::nullable<double>(1.0)};
  EXPECT_EQ(decoded<cad::RebarParams>(surplus_doubles("05", two + "00")), expected);
  EXPECT_EQ(decoded<cad::RebarParams>(surplus_doubles("81 80 80 80 02", two + "00")), expected);
  EXPECT_EQ(decoded<cad::RebarParams>(surplus_doubles("FF FF FF FF 0F", two + "00")), expected);
}

class UnknownField : public testing::TestWithParam<int> {
 protected:
  const std::string unknown_ = sample_field(GetParam(), 99);
  const cad::Sheet sheet_{.id = 7, .name = "G1"};
};

TEST_P(UnknownField, IsPassedOverAtTheStart) {
  EXPECT_EQ(decode_bytes<cad::Sheet>(unknown_ + from_hex("10 0E 49 02 47 31 00")), sheet_);
}

TEST_P(UnknownField, IsPassedOverBetweenKnownOnes) {
  EXPECT_EQ(decode_bytes<cad::Sheet>(from_hex("10 0E") + unknown_ + from_hex("49 02 47 31 00")),
            sheet_);
}

TEST_P(UnknownField, IsPassedOverAtTheEnd) {
  EXPECT_EQ(decode_bytes<cad::Sheet>(from_hex("10 0E 49 02 47 31") + unknown_ + from_hex("00")),
            sheet_);
}

TEST_P(UnknownField, IsPassedOverInsideANestedStruct) {
  const auto material = decode_bytes<cad::Material>(from_hex("4A 09 01 61") + unknown_ +
                                                    from_hex("29 01 62 00 10 02 00"));
  EXPECT_EQ(material.identity, (cad::Material_Identity{.name = "a", .description = "b"}));
  EXPECT_EQ(material.id, 1);
}

TEST_P(UnknownField, IsPassedOverInsideAStructThatIsPassedOver) {
  EXPECT_EQ(decode_bytes<cad::Sheet>(from_hex("CA 63") + unknown_ + from_hex("00 10 0E 00")).id, 7);
}

TEST_P(UnknownField, IsPassedOverAsTheElementsOfAList) {
  const std::string element = from_hex(sample_value(GetParam()));
  std::string bytes = from_hex("CB 63");
  bytes += static_cast<char>(GetParam());
  bytes += '\x02';
  EXPECT_EQ(decode_bytes<cad::Sheet>(bytes + element + element + from_hex("10 0E 00")).id, 7);
}

// 2 to 18 are the types that a field can have; 19 to 31 name none and take no bytes.
INSTANTIATE_TEST_SUITE_P(OfType, UnknownField,
                         testing::Range(2, korvane::test::kHighestTypeCode + 1));

/// A field that is known, and the wire types that fit it.
struct Known {
  std::string name;
  std::uint8_t ordinal;
  std::vector<int> fitting;
};

/// Decodes a record with one field of each wire type that does not fit, and a known one behind it.
template <class T>
void expect_unfitting_types_to_be_passed_over(const Known& known, T held, std::string_view behind) {
  const std::string rest = from_hex(behind);
  T expected = held;
  decode_bytes_into(rest, expected);
  ASSERT_NE(vector_text(expected), vector_text(held));
  for (int type = 2; type <= korvane::test::kHighestTypeCode; ++type) {
    if (std::count(known.fitting.begin(), known.fitting.end(), type) != 0) continue;
    T record = held;
    decode_bytes_into(sample_field(type, known.ordinal) + rest, record);
    EXPECT_EQ(vector_text(record), vector_text(expected)) << known.name << " as type " << type;
  }
}

TEST(UnfittingType, IsPassedOverForAnInteger) {
  expect_unfitting_types_to_be_passed_over(Known{"id", 0, {14, 15, 16}}, cad::Sheet{.id = 5},
                                           "49 01 6E 00");
}

TEST(UnfittingType, IsPassedOverForAnEnumeration) {
  expect_unfitting_types_to_be_passed_over(Known{"direction", 3, {14, 15, 16}},
                                           cad::Hook{.direction = cad::HookDirection::kRight},
                                           "49 01 6E 00");
}

TEST(UnfittingType, IsPassedOverForADouble) {
  expect_unfitting_types_to_be_passed_over(Known{"y", 1, {7, 8}}, Point3d{.y = 2.5},
                                           "48 00 00 00 00 00 00 F0 3F 00");
}

TEST(UnfittingType, IsPassedOverForABool) {
  expect_unfitting_types_to_be_passed_over(Known{"draw_pointer", 6, {2}},
                                           cad::EndTreatment{.draw_pointer = true}, "29 01 74 00");
}

TEST(UnfittingType, IsPassedOverForAText) {
  expect_unfitting_types_to_be_passed_over(Known{"uid", 1, {9}}, cad::Sheet{.uid = "kept"},
                                           "49 01 6E 00");
}

TEST(UnfittingType, IsPassedOverForAStruct) {
  cad::Material held;
  held.identity.name = "kept";
  expect_unfitting_types_to_be_passed_over(Known{"identity", 2, {10}}, held, "10 02 00");
}

TEST(UnfittingType, IsPassedOverForAList) {
  cad::GeometryObject held;
  held.labels = {{.text = "kept"}};
  expect_unfitting_types_to_be_passed_over(Known{"labels", 5, {11}}, held, "10 02 00");
}

TEST(UnfittingType, IsPassedOverForANullable) {
  Variant held;
  held.value_string.set("kept");
  expect_unfitting_types_to_be_passed_over(Known{"value_string", 2, {11}}, held, "0B 10 01 0A 00");
}

TEST(UnfittingType, IsPassedOverForABlob) {
  Variant held;
  held.value_blob.set(bond::blob::copy_of("kept", 4));
  expect_unfitting_types_to_be_passed_over(Known{"value_blob", 3, {11}}, held, "0B 10 01 0A 00");
}

TEST(UnfittingType, IsPassedOverForAMap) {
  cad::Sheet held;
  held.properties["kept"];
  expect_unfitting_types_to_be_passed_over(Known{"properties", 4, {13}}, held, "49 01 6E 00");
}

}  // namespace
