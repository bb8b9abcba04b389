#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "contracts/cad/contracts.h"
#include "contracts/common/contracts.h"
#include "contracts/encoding/json.h"
#include "contracts/geometry/contracts.h"
#include "platform/project_rpc/contracts.h"
#include "tests/contracts/encoding/error_text.h"

namespace {

namespace cad = korvane::model::cad;
namespace geometry = korvane::model::geometry;
using korvane::encoding::from_json;
using korvane::encoding::to_json;
using korvane::test::json_error;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::string number_text(double value) {
  const std::string text = to_json(geometry::NurbsCurve{{}, {value}, {}, 0});
  const std::size_t begin = text.find("\"weights\":[") + 11;
  return text.substr(begin, text.find(']', begin) - begin);
}

std::string written_name(const std::string& name) {
  return to_json(korvane::model::OpenProjectRequest{name});
}

std::string written_blob(const std::string& bytes) {
  korvane::Variant variant;
  variant.value_blob.set(
      bond::blob::copy_of(bytes.data(), static_cast<std::uint32_t>(bytes.size())));
  return nlohmann::json::parse(to_json(variant)).at("value_blob");
}

template <class T>
std::string refusal_of(const T& record) {
  return json_error([&] { to_json(record); });
}

TEST(WritingJson, WritesEveryFieldAlsoAtItsDefault) {
  EXPECT_EQ(to_json(cad::Hook{}),
            R"({"length":0,"total_length":0,"type":"","direction":"kLeft","angle":0})");
  EXPECT_EQ(to_json(korvane::RGBA_Color{}), R"({"r":1,"g":1,"b":1,"a":1})");
  EXPECT_EQ(to_json(korvane::Empty{}), "{}");
}

TEST(WritingJson, ShowsWhatJsonCannotSay) {
  using korvane::encoding::to_shown_json;
  EXPECT_EQ(to_shown_json(geometry::NurbsCurve{{}, {kNaN, kInfinity, 1}, {}, 0}),
            R"({"control_points":[],"weights":[null,null,1],"knots":[],"degree":0})");
  EXPECT_EQ(to_shown_json(korvane::model::OpenProjectRequest{"a\xff\"b"}),
            "{\"filename\":\"a\xef\xbf\xbd\\\"b\"}");
  EXPECT_EQ(to_shown_json(cad::Hook{}), to_json(cad::Hook{}));
}

TEST(WritingJson, WritesNullForNothing) {
  EXPECT_EQ(to_json(korvane::Variant{}),
            R"({"value_int32":null,"value_double":null,"value_string":null,"value_blob":null,)"
            R"("bool_":null})");
  EXPECT_EQ(to_json(korvane::OptionalValue<cad::Sheet>{}), R"({"value":null})");
}

TEST(WritingJson, WritesTheFieldsOfTheBaseFirst) {
  EXPECT_EQ(to_json(cad::SheetRef{}), R"({"error":null,"id":null,"uid":null})");
}

TEST(WritingJson, WritesListsAsArraysAndMapsAsObjects) {
  korvane::model::table::GET_TABLE request;
  request.params["b"].bool_.set(true);
  request.params["a \"quoted\" key"].value_int32.set(-5);
  EXPECT_EQ(to_json(request),
            R"({"kind":"","params":{)"
            R"("a \"quoted\" key":{"value_int32":-5,"value_double":null,"value_string":null,)"
            R"("value_blob":null,"bool_":null},)"
            R"("b":{"value_int32":null,"value_double":null,"value_string":null,)"
            R"("value_blob":null,"bool_":true}}})");
  EXPECT_EQ(to_json(korvane::model::table::TABLE{{{"n", 4}}, {{}, {}}}),
            R"({"columns":[{"name":"n","kind":4}],"rows":[[],[]]})");
}

TEST(WritingJson, WritesAnEnumeratorsNameAndAnUnknownNumber) {
  EXPECT_EQ(nlohmann::json::parse(to_json(cad::Hook{0, 0, "", cad::HookDirection::kRight, 0}))
                .at("direction"),
            "kRight");
  EXPECT_EQ(nlohmann::json::parse(to_json(cad::Hook{0, 0, "", cad::HookDirection{-77}, 0}))
                .at("direction"),
            -77);
}

TEST(WritingJson, WritesDoublesShortAndPlain) {
  EXPECT_EQ(number_text(0.1), "0.1");
  EXPECT_EQ(number_text(100000), "100000");
  EXPECT_EQ(number_text(-2.5), "-2.5");
  EXPECT_EQ(number_text(0.00001), "0.00001");
  EXPECT_EQ(number_text(1e15), "1e+15");
  EXPECT_EQ(number_text(5e-324), "5e-324");
  EXPECT_EQ(number_text(1.7976931348623157e308), "1.7976931348623157e+308");
}

TEST(WritingJson, KeepsTheSignOfZeroForReadersThatKnowIntegers) {
  EXPECT_EQ(number_text(-0.0), "-0.0");
  const auto read = from_json<geometry::Point2>(to_json(geometry::Point2{-0.0, 0.0}));
  EXPECT_TRUE(std::signbit(read.x));
  EXPECT_FALSE(std::signbit(read.y));
}

TEST(WritingJson, EscapesWhatMustBe) {
  EXPECT_EQ(written_name("a\"b\\c\n\x01/"), R"({"filename":"a\"b\\c\n\u0001/"})");
  EXPECT_EQ(written_name(std::string("\0", 1)), R"({"filename":"\u0000"})");
}

TEST(WritingJson, WritesOtherScriptsAsTheyAre) {
  EXPECT_EQ(written_name("ä€😀\x7F"), "{\"filename\":\"ä€😀\x7F\"}");
}

TEST(WritingJson, WritesBlobsAsBase64) {
  EXPECT_EQ(written_blob(""), "");
  EXPECT_EQ(written_blob("f"), "Zg==");
  EXPECT_EQ(written_blob("fo"), "Zm8=");
  EXPECT_EQ(written_blob("foo"), "Zm9v");
  EXPECT_EQ(written_blob("foob"), "Zm9vYg==");
  EXPECT_EQ(written_blob(std::string("\0\xFF\x80\xFF", 4)), "AP+A/w==");
}

TEST(WritingJson, RefusesNumbersThatAreNotFinite) {
  korvane::Batch<cad::Rebar> rebars;
  rebars.items.resize(2);
  rebars.items[1].bar_diameter = kNaN;
  EXPECT_EQ(refusal_of(rebars), "items[1].bar_diameter: NaN cannot be written as JSON");
  rebars.items[1].bar_diameter = 0;
  rebars.items[0].parameters_rounded.r.set(kInfinity);
  EXPECT_EQ(refusal_of(rebars),
            "items[0].parameters_rounded.r: Infinity cannot be written as JSON");
  EXPECT_EQ(refusal_of(geometry::Point2{0, -kInfinity}), "y: -Infinity cannot be written as JSON");
}

TEST(WritingJson, RefusesNumbersThatAreNotFiniteInsideAMap) {
  cad::Sheet sheet;
  sheet.properties["two words"].value_double.set(kNaN);
  EXPECT_EQ(refusal_of(sheet),
            "properties[\"two words\"].value_double: NaN cannot be written as JSON");
}

TEST(WritingJson, RefusesTextThatIsNotUtf8) {
  cad::TextblockTable table{{{}, {{{}, {}}}}};
  table.rows[1].cells[1].value.value_string.set("a\xE4");
  EXPECT_EQ(
      refusal_of(table),
      "rows[1].cells[1].value.value_string: text that is not UTF-8 cannot be written as JSON");
}

TEST(WritingJson, RefusesAKeyThatIsNotUtf8AndNamesItInUtf8) {
  cad::Sheet sheet;
  sheet.properties["a\xE4"];
  EXPECT_EQ(refusal_of(sheet),
            "properties[\"a\xEF\xBF\xBD\"]: text that is not UTF-8 cannot be written as JSON");
}

TEST(WritingJson, InPiecesIsTheSameTextAndNoneIsLarge) {
  cad::Sheet sheet;
  sheet.name = std::string(200, '"');
  sheet.comment = "H\xC3\xB6he";
  korvane::Batch<cad::Sheet> batch;
  batch.items.assign(2000, sheet);
  std::string text;
  std::size_t largest = 0;
  std::size_t pieces = 0;
  korvane::encoding::write_json(batch, [&](std::string_view piece) {
    text += piece;
    largest = std::max(largest, piece.size());
    ++pieces;
  });
  EXPECT_TRUE(text == to_json(batch));
  EXPECT_GT(pieces, 5U);
  EXPECT_LT(largest, 100'000U);
}

TEST(WritingJson, InPiecesRefusesWhatCannotBeWrittenAsInOne) {
  korvane::Batch<cad::Sheet> batch;
  batch.items.resize(2000);
  batch.items.back().name = "\xFF";
  const auto ignore = [](std::string_view) {};
  EXPECT_EQ(json_error([&] { korvane::encoding::write_json(batch, ignore); }), refusal_of(batch));
  EXPECT_THAT(refusal_of(batch), testing::StartsWith("items[1999].name: "));
}

}  // namespace
