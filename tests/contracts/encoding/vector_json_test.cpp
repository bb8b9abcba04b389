#include "tests/support/vector_json.h"

#include <bit>
#include <cstdint>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "tests/contracts/encoding/records.h"

namespace {

namespace cad = korvane::model::cad;
using korvane::model::geometry::Point3d;
using korvane::test::Json;
using korvane::test::record_from_vector_json;
using korvane::test::vector_text;

Point3d with_bits(std::uint64_t bits) { return {.x = std::bit_cast<double>(bits)}; }

template <class T>
void expect_as_text(const T& record, const std::string& text) {
  EXPECT_EQ(vector_text(record), text);
  EXPECT_EQ(vector_text(record_from_vector_json<T>(Json::parse(text))), text);
}

TEST(VectorJson, TellsMinusZeroFromZero) {
  expect_as_text(Point3d{.x = -0.0, .y = 0.0}, R"({"x":-0.0,"y":0.0,"z":0.0})");
}

TEST(VectorJson, TellsTheBitsOfWhatIsNotANumber) {
  expect_as_text(with_bits(0x7FF8000000000000), R"({"x":"bits:7ff8000000000000","y":0.0,"z":0.0})");
  expect_as_text(with_bits(0xFFF8000000001234), R"({"x":"bits:fff8000000001234","y":0.0,"z":0.0})");
  expect_as_text(with_bits(0x7FF0000000000000), R"({"x":"bits:7ff0000000000000","y":0.0,"z":0.0})");
}

TEST(VectorJson, TellsDoublesOfOneBitApart) {
  expect_as_text(Point3d{.x = 0.1, .y = 0.10000000000000002},
                 R"({"x":0.1,"y":0.10000000000000002,"z":0.0})");
}

TEST(VectorJson, LeavesOutAnUnsetNullableAlone) {
  korvane::Variant value;
  expect_as_text(value, "{}");
  value.value_int32.set(0);
  value.bool_.set(false);
  expect_as_text(value, R"({"value_int32":0,"bool_":false})");
}

TEST(VectorJson, WritesBytesInHexadecimal) {
  korvane::Variant value;
  value.value_string.set("\xFF\x01");
  value.value_blob.set(bond::blob::copy_of("ab", 2));
  expect_as_text(value, R"({"value_string":{"$hex":"ff01"},"value_blob":{"$hex":"6162"}})");
}

TEST(VectorJson, WritesAMapAsEntriesInKeyOrder) {
  cad::ProjectData data;
  data.properties["b"].bool_.set(true);
  data.properties["a"];
  expect_as_text(data, R"({"properties":[["a",{}],["b",{"bool_":true}]]})");
}

TEST(VectorJson, WritesAnEnumerationAsItsNumberAndAListAsAList) {
  cad::GeometryObject object{.type = cad::GeometryObjectType::kKink};
  object.labels.push_back({.type = cad::GeometryLabelType::Angle, .text = "A"});
  expect_as_text(object, R"({"type":2,"labels":[{"type":2,"text":"A"}]})");
}

TEST(VectorJson, PutsTheFieldsOfTheBaseFirst) {
  cad::SheetRef reference;
  reference.error.set("e");
  reference.id = 0;
  expect_as_text(reference, R"({"error":"e","id":0})");
}

TEST(VectorJson, RefusesAFieldThatThereIsNot) {
  const Json json = Json::parse(R"({"x":0.0,"y":0.0,"z":0.0,"w":0.0})");
  EXPECT_THROW(record_from_vector_json<Point3d>(json), std::invalid_argument);
}

TEST(VectorJson, RefusesARecordThatLacksAField) {
  EXPECT_THROW(record_from_vector_json<Point3d>(Json::parse(R"({"x":0.0,"y":0.0})")),
               Json::out_of_range);
}

}  // namespace
