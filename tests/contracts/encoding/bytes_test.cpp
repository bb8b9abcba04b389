#include <bit>
#include <cstdint>
#include <functional>
#include <limits>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/contracts/encoding/records.h"

namespace {

namespace cad = korvane::model::cad;
using bond::nullable;
using korvane::Variant;
using korvane::model::geometry::Point3d;
using korvane::test::decoded;
using korvane::test::encoded;
using korvane::test::from_hex;
using korvane::test::hex;
using korvane::test::vector_text;

/// A record and its bytes, checked in both directions.
struct Row {
  std::string name;
  std::string bytes;
  std::function<std::string()> encode;
  std::function<std::string()> decode;
  std::string record;

  template <class T>
  Row(std::string row_name, T value, const std::string& text)
      : name(std::move(row_name)),
        bytes(hex(from_hex(text))),
        encode([value] { return encoded(value); }),
        decode([text] { return vector_text(decoded<T>(text)); }),
        record(vector_text(value)) {}
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

class Bytes : public testing::TestWithParam<Row> {};

TEST_P(Bytes, AreWrittenForTheRecord) { EXPECT_EQ(GetParam().encode(), GetParam().bytes); }

TEST_P(Bytes, AreReadAsTheRecord) { EXPECT_EQ(GetParam().decode(), GetParam().record); }

template <class T, class Fill>
T made(Fill fill) {
  T record{};
  fill(record);
  return record;
}

template <class T>
nullable<T> set(T value) {
  return nullable<T>(std::move(value));
}

cad::Sheet worked_sheet() {
  cad::Sheet sheet{.id = 7, .uid = "s-1", .name = "G1"};
  sheet.properties["scale"].value_int32.set(50);
  return sheet;
}

cad::GeometryObject worked_object() {
  return {.type = cad::GeometryObjectType::kArc,
          .radius = set(2.5),
          .labels = {{.type = cad::GeometryLabelType::Radius, .text = "R"}}};
}

INSTANTIATE_TEST_SUITE_P(
    WorkedExample, Bytes,
    testing::Values(
        Row("SheetWithOneProperty", worked_sheet(),
            "10 0E  29 03 73 2D 31  49 02 47 31  8D 09 0A 01  05 73 63 61 6C 65  0B 10 01 64  00"
            "  00"),
        Row("GeometryObjectWithRadiusAndLabel", worked_object(),
            "10 02  6B 08 01 00 00 00 00 00 00 04 40  AB 0A 01  10 02  29 01 52  00  00"),
        Row("TotalBarsUnderATwoByteHeader", cad::Rebar{.total_bars = 12},
            "D0 09 18  CA 0D 00  CA 0E 00  CA 0F 00  00")));

INSTANTIATE_TEST_SUITE_P(
    Integer, Bytes,
    testing::Values(
        Row("IdZeroIsWrittenWhereMinusOneIsDefault", cad::Sheet{.id = 0}, "10 00 00"),
        Row("IdMinusOneIsLeftOutWhereItIsDefault", cad::Sheet{.id = -1}, "00"),
        Row("IdZeroIsLeftOutWhereItIsDefault", cad::Revision{.id = 0}, "00"),
        Row("IdMinusOneIsWrittenWhereZeroIsDefault", cad::Revision{.id = -1}, "10 01 00"),
        Row("SixtyThreeTakesOneByte", cad::Revision{.id = 63}, "10 7E 00"),
        Row("MinusSixtyFourTakesOneByte", cad::Revision{.id = -64}, "10 7F 00"),
        Row("SixtyFourTakesTwoBytes", cad::Revision{.id = 64}, "10 80 01 00"),
        Row("MinusSixtyFiveTakesTwoBytes", cad::Revision{.id = -65}, "10 81 01 00"),
        Row("LargestTakesFiveBytes", cad::Revision{.id = std::numeric_limits<std::int32_t>::max()},
            "10 FE FF FF FF 0F 00"),
        Row("SmallestTakesFiveBytes", cad::Revision{.id = std::numeric_limits<std::int32_t>::min()},
            "10 FF FF FF FF 0F 00"),
        Row("LastOrdinalOfOneByte", cad::BarSpacer{.weight_per_piece = 1.0},
            "A8 00 00 00 00 00 00 F0 3F 00"),
        Row("FirstOrdinalOfTwoBytes", cad::BarSpacer{.mark = "m"}, "C9 06 01 6D 00")));

INSTANTIATE_TEST_SUITE_P(
    Enumeration, Bytes,
    testing::Values(
        Row("FirstIsLeftOut", cad::Hook{.direction = cad::HookDirection::kLeft}, "00"),
        Row("OtherIsAZigzagNumber", cad::Hook{.direction = cad::HookDirection::kRight}, "70 02 00"),
        Row("NumberWithoutANameIsKept", cad::Hook{.direction = cad::HookDirection(-3)}, "70 05 00"),
        Row("FirstInsideANullableIsWritten",
            cad::BarSpacer{.diff_state = set(cad::DiffState::kModified)}, "CB 0A 10 01 00 00"),
        Row("OtherInsideANullable", cad::BarSpacer{.diff_state = set(cad::DiffState::kAdded)},
            "CB 0A 10 01 04 00")));

INSTANTIATE_TEST_SUITE_P(
    Double, Bytes,
    testing::Values(Row("ZeroIsLeftOut", Point3d{.x = 0.0}, "00"),
                    Row("IsLittleEndian", Point3d{.x = 1.0, .z = -2.5},
                        "08 00 00 00 00 00 00 F0 3F 48 00 00 00 00 00 00 04 C0 00"),
                    Row("NotANumberKeepsItsBits",
                        Point3d{.x = std::bit_cast<double>(std::uint64_t{0x7FF8000000001234})},
                        "08 34 12 00 00 00 00 F8 7F 00"),
                    Row("InfinityIsWritten", Point3d{.y = -std::numeric_limits<double>::infinity()},
                        "28 00 00 00 00 00 00 F0 FF 00"),
                    Row("SmallestIsWritten",
                        Point3d{.x = std::numeric_limits<double>::denorm_min()},
                        "08 01 00 00 00 00 00 00 00 00")));

INSTANTIATE_TEST_SUITE_P(
    Text, Bytes,
    testing::Values(
        Row("EmptyIsLeftOut", cad::Sheet{.uid = ""}, "00"),
        Row("HasItsLengthInBytes", cad::Sheet{.uid = "\xC3\xB8"}, "29 02 C3 B8 00"),
        Row("KeepsAZeroByte", cad::Sheet{.uid = std::string("a\0b", 3)}, "29 03 61 00 62 00"),
        Row("OfOneZeroByteIsNotEmpty", cad::Sheet{.uid = std::string("\0", 1)}, "29 01 00 00"),
        Row("IsNotValidated", cad::Sheet{.uid = "\xFF\xFE"}, "29 02 FF FE 00"),
        Row("Of128BytesHasALengthOfTwo", cad::Sheet{.uid = std::string(128, 'x')},
            "29 80 01" + hex(std::string(128, 'x')) + "00"),
        Row("WithAStatedEmptyDefaultIsLeftOutWhenEmpty", cad::EndTreatment{.type_description = ""},
            "00"),
        Row("WithAStatedEmptyDefaultIsWritten", cad::EndTreatment{.type_description = "d"},
            "C9 07 01 64 00")));

INSTANTIATE_TEST_SUITE_P(
    Bool, Bytes,
    testing::Values(Row("FalseIsLeftOut", cad::EndTreatment{.draw_pointer = false}, "00"),
                    Row("TrueIsWritten", cad::EndTreatment{.draw_pointer = true}, "C2 06 01 00"),
                    Row("TrueIsLeftOutWhereItIsDefault", cad::ClearProjectRequest{}, "00"),
                    Row("FalseIsWrittenWhereTrueIsDefault",
                        cad::ClearProjectRequest{.reset_schema = false}, "02 00 00")));

INSTANTIATE_TEST_SUITE_P(
    Nullable, Bytes,
    testing::Values(
        Row("Int32IsAListOfOne", Variant{.value_int32 = set(-1)}, "0B 10 01 01 00"),
        Row("Int32OfZeroIsWritten", Variant{.value_int32 = set(0)}, "0B 10 01 00 00"),
        Row("DoubleOfZeroIsWritten", Variant{.value_double = set(0.0)},
            "2B 08 01 00 00 00 00 00 00 00 00 00"),
        Row("DoubleOfMinusZeroKeepsItsSign", Variant{.value_double = set(-0.0)},
            "2B 08 01 00 00 00 00 00 00 00 80 00"),
        Row("TextIsAListOfOne", Variant{.value_string = set<std::string>("ab")},
            "4B 09 01 02 61 62 00"),
        Row("EmptyTextIsWritten", Variant{.value_string = set<std::string>("")}, "4B 09 01 00 00"),
        Row("BlobHasTwoListHeaders",
            Variant{.value_blob = set(bond::blob::copy_of("\x01\x02\x03", 3))},
            "6B 0B 01 0E 03 01 02 03 00"),
        Row("EmptyBlobIsWritten", Variant{.value_blob = set(bond::blob())}, "6B 0B 01 0E 00 00"),
        Row("BoolOfTrueIsAListOfOne", Variant{.bool_ = set(true)}, "8B 02 01 01 00"),
        Row("BoolOfFalseIsWritten", Variant{.bool_ = set(false)}, "8B 02 01 00 00"),
        Row("TwoMembersAreBothWritten",
            Variant{.value_int32 = set(1), .value_string = set<std::string>("x")},
            "0B 10 01 02 4B 09 01 01 78 00"),
        Row("RecordIsAListOfOneStruct",
            cad::FabricType{.list_fabric = set(cad::ListenMatten{.along_distance = 1.0})},
            "CA 06 4A 00 6A 00 00 CB 08 0A 01 08 00 00 00 00 00 00 F0 3F 00 00")));

INSTANTIATE_TEST_SUITE_P(
    Container, Bytes,
    testing::Values(Row("EmptyListIsLeftOut", cad::RebarGeometry{}, "00"),
                    Row("ListOfStructs", cad::RebarGeometry{.polyline = {{.x = 1.0}, {}}},
                        "4B 0A 02 08 00 00 00 00 00 00 F0 3F 00 00 00"),
                    Row("EmptyMapIsLeftOut", cad::ProjectData{}, "00"),
                    Row("MapIsWrittenInKeyOrder", made<cad::ProjectData>([](auto& data) {
                          data.properties["b"].bool_.set(true);
                          data.properties["a"].bool_.set(false);
                          data.properties[""];
                        }),
                        "0D 09 0A 03 00 00 01 61 8B 02 01 00 00 01 62 8B 02 01 01 00 00"),
                    Row("MapKeysAreOrderedAsUnsignedBytes", made<cad::ProjectData>([](auto& data) {
                          data.properties["\xC3\xA4"];
                          data.properties["z"];
                        }),
                        "0D 09 0A 02 01 7A 00 02 C3 A4 00 00"),
                    Row("ListInAListInAStruct",
                        cad::Textblock{.items = {.rows = {{}, {.cells = {{}}}}}},
                        "0A 0B 0A 02 00 0B 0A 01 0A 00 00 00 00 00")));

}  // namespace
