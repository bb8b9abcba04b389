#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contracts/cad/contracts.h"
#include "contracts/common/contracts.h"
#include "contracts/encoding/json.h"
#include "contracts/geometry/contracts.h"
#include "platform/project_rpc/contracts.h"
#include "tests/contracts/encoding/error_text.h"

namespace {

namespace cad = korvane::model::cad;
namespace geometry = korvane::model::geometry;
using korvane::encoding::check_json;
using korvane::encoding::from_json;
using korvane::encoding::to_json;
using korvane::test::json_error;
using korvane::test::refusal;
using testing::EndsWith;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

using Rebars = korvane::Batch<cad::Rebar>;

std::string blob_of(const std::string& base64) {
  const auto variant = from_json<korvane::Variant>(R"({"value_blob":")" + base64 + "\"}");
  return {variant.value_blob->begin(), variant.value_blob->end()};
}

std::string blob_refusal(const std::string& base64) {
  return refusal<korvane::Variant>(R"({"value_blob":")" + base64 + "\"}");
}

std::string nested(std::size_t levels) {
  return std::string(levels, '[') + std::string(levels, ']');
}

TEST(ReadingJson, LeavesAbsentFieldsAtTheirDefaults) {
  EXPECT_EQ(from_json<cad::Rebar>("{}"), cad::Rebar{});
  EXPECT_EQ(from_json<cad::Sheet>("{}").id, -1);
  EXPECT_EQ(from_json<korvane::RGBA_Color>(R"({"g":0.5})"),
            (korvane::RGBA_Color{1.0, 0.5, 1.0, 1.0}));
}

TEST(ReadingJson, TakesFieldsInAnyOrder) {
  const auto color = from_json<korvane::RGBA_Color>(R"({"a":0.25,"g":0.5,"r":0.75,"b":0})");
  EXPECT_EQ(color, (korvane::RGBA_Color{0.75, 0.5, 0.0, 0.25}));
}

TEST(ReadingJson, PassesOverAByteOrderMark) {
  EXPECT_EQ(from_json<cad::Sheet>("\xEF\xBB\xBF{\"id\":7}").id, 7);
  EXPECT_THAT(refusal<cad::Sheet>("\xEF\xBB\xBF{"), HasSubstr("malformed JSON"));
}

TEST(ReadingJson, TakesZeroTimesAnyPowerForZero) {
  EXPECT_EQ(from_json<korvane::RGBA_Color>(R"({"r":0e999,"g":0.0e999})").r, 0.0);
  EXPECT_EQ(from_json<korvane::RGBA_Color>(R"({"r":0e999,"g":0.0e999})").g, 0.0);
}

TEST(ReadingJson, ReadsEachNumberAsTheNearestDouble) {
  for (const std::string number :
       {"0.1", "2.2250738585072011e-308", "4.9e-324", "1e-400", "1.7976931348623157e308",
        "9007199254740993", "9007199254740993.0", "123456789012345678901234567890",
        "179769313486231570000000000000000000000e270", "-2147483649"}) {
    const auto color = from_json<korvane::RGBA_Color>("{\"r\":" + number + "}");
    EXPECT_EQ(color.r, std::strtod(number.c_str(), nullptr)) << number;
  }
}

TEST(ReadingJson, RefusesHalvesOfPairsInEitherOrder) {
  for (const std::string text : {R"("\udc00")", R"("\ud800")", R"("\udc00\ud800")"}) {
    EXPECT_THAT(refusal<cad::Sheet>("{\"name\":" + text + "}"), HasSubstr("malformed JSON"))
        << text;
    EXPECT_THAT(refusal<cad::Sheet>("{" + text + ":1}"), HasSubstr("malformed JSON")) << text;
  }
}

TEST(ReadingJson, LeavesAbsentFieldsOfElementsAtTheirDefaults) {
  const auto sheets = from_json<korvane::Batch<cad::Sheet>>(R"({"items":[{"id":7},{}]})");
  ASSERT_THAT(sheets.items, SizeIs(2));
  EXPECT_EQ(sheets.items[0].id, 7);
  EXPECT_EQ(sheets.items[1], cad::Sheet{});
}

TEST(ReadingJson, TakesTheFieldsOfTheBaseBesideItsOwn) {
  const auto reference = from_json<cad::SheetRef>(R"({"uid":"u","error":"e","id":3})");
  EXPECT_EQ(reference.error.value(), "e");
  EXPECT_EQ(reference.id.value(), 3);
  EXPECT_EQ(reference.uid.value(), "u");
}

TEST(ReadingJson, PassesOverWhiteSpaceAroundTheRecord) {
  EXPECT_EQ(from_json<cad::SheetRef>(" \t\r\n{ \"id\" : 3 }\n").id.value(), 3);
}

TEST(ReadingJson, TakesNullForNothing) {
  const auto variant = from_json<korvane::Variant>(R"({"value_int32":null,"value_blob":null})");
  EXPECT_EQ(variant, korvane::Variant{});
  EXPECT_TRUE(from_json<cad::SheetRef>(R"({"id":null})").id.is_nothing());
}

TEST(ReadingJson, RefusesNullForWhatCannotBeUnset) {
  EXPECT_EQ(refusal<cad::Rebar>(R"({"id":null})"), "id: expected an integer, found null");
  EXPECT_EQ(refusal<cad::Rebar>(R"({"total_length":null})"),
            "total_length: expected a number, found null");
  EXPECT_EQ(refusal<cad::Rebar>(R"({"mark":null})"), "mark: expected text, found null");
  EXPECT_EQ(refusal<cad::Rebar>(R"({"geometry":null})"),
            "geometry: expected an object, found null");
  EXPECT_EQ(refusal<cad::Rebars>(R"({"rebars":null})"), "rebars: expected an array, found null");
  EXPECT_EQ(refusal<Rebars>(R"({"items":[null]})"), "items[0]: expected an object, found null");
}

TEST(ReadingJson, TakesTrueAndFalse) {
  EXPECT_TRUE(from_json<korvane::Variant>(R"({"bool_":true})").bool_.value());
  EXPECT_FALSE(from_json<korvane::Variant>(R"({"bool_":false})").bool_.value());
}

TEST(ReadingJson, TakesNothingElseForABoolean) {
  EXPECT_EQ(refusal<korvane::Variant>(R"({"bool_":1})"),
            "bool_: expected a boolean, found a number");
  EXPECT_EQ(refusal<korvane::Variant>(R"({"bool_":"true"})"),
            "bool_: expected a boolean, found text");
}

TEST(ReadingJson, TakesEveryInt32) {
  EXPECT_EQ(from_json<cad::Sheet>(R"({"id":2147483647})").id, 2147483647);
  EXPECT_EQ(from_json<cad::Sheet>(R"({"id":-2147483648})").id,
            std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(from_json<cad::Sheet>(R"({"id":0})").id, 0);
  EXPECT_EQ(from_json<cad::Sheet>(R"({"id":-0})").id, 0);
}

TEST(ReadingJson, TakesANumberOfIntegralValueForAnInteger) {
  EXPECT_EQ(from_json<cad::Sheet>(R"({"id":3.0})").id, 3);
  EXPECT_EQ(from_json<cad::Sheet>(R"({"id":-12e1})").id, -120);
}

TEST(ReadingJson, RefusesAFractionForAnInteger) {
  EXPECT_EQ(refusal<cad::Sheet>(R"({"id":3.5})"),
            "id: expected an integer from -2147483648 to 2147483647, found 3.5");
}

TEST(ReadingJson, RefusesANumberOutOfTheRangeOfAnInteger) {
  EXPECT_EQ(refusal<cad::Sheet>(R"({"id":2147483648})"),
            "id: expected an integer from -2147483648 to 2147483647, found 2147483648");
  EXPECT_EQ(refusal<cad::Sheet>(R"({"id":-2147483649})"),
            "id: expected an integer from -2147483648 to 2147483647, found -2147483649");
  EXPECT_EQ(refusal<cad::Sheet>(R"({"id":1e300})"),
            "id: expected an integer from -2147483648 to 2147483647, found 1e+300");
  EXPECT_EQ(refusal<cad::Sheet>(R"({"id":18446744073709551616})"),
            "id: expected an integer from -2147483648 to 2147483647, found 1.8446744073709552e+19");
}

TEST(ReadingJson, RefusesTextForAnInteger) {
  EXPECT_EQ(refusal<cad::Sheet>(R"({"id":"3"})"), "id: expected an integer, found text");
}

TEST(ReadingJson, TakesAnyNumberForADouble) {
  const auto point = from_json<geometry::Point3d>(
      R"({"x":5e-324,"y":-1.7976931348623157e308,"z":9007199254740993})");
  EXPECT_EQ(point.x, std::numeric_limits<double>::denorm_min());
  EXPECT_EQ(point.y, std::numeric_limits<double>::lowest());
  EXPECT_EQ(point.z, 9007199254740992.0);
}

TEST(ReadingJson, TakesIntegersBeyond64BitsForADouble) {
  EXPECT_EQ(from_json<geometry::Point2>(R"({"x":100000000000000000000})").x, 1e20);
}

TEST(ReadingJson, KeepsTheSignOfZero) {
  for (const std::string zero : {"-0", "-0.0", "-0e5"}) {
    EXPECT_TRUE(std::signbit(from_json<geometry::Point2>(R"({"x":)" + zero + "}").x)) << zero;
  }
  EXPECT_FALSE(std::signbit(from_json<geometry::Point2>(R"({"x":0})").x));
}

TEST(ReadingJson, RoundsANumberTooSmallForADoubleToZero) {
  EXPECT_EQ(from_json<geometry::Point2>(R"({"x":1e-400})").x, 0.0);
}

TEST(ReadingJson, RefusesANumberThatNoDoubleHolds) {
  EXPECT_EQ(refusal<Rebars>(R"({"items":[{},{"bar_diameter":1e999}]})"),
            "items[1].bar_diameter: 1e999 is out of range: no number is beyond "
            "1.7976931348623157e+308");
  EXPECT_EQ(refusal<geometry::NurbsCurve>(R"({"knots":[0,-1e999]})"),
            "knots[1]: -1e999 is out of range: no number is beyond 1.7976931348623157e+308");
  EXPECT_EQ(refusal<cad::Sheet>("1e999"),
            "request: 1e999 is out of range: no number is beyond 1.7976931348623157e+308");
}

TEST(ReadingJson, ShortensTheNumberThatItQuotes) {
  const std::string number(5000, '9');
  EXPECT_EQ(refusal<geometry::Point2>(R"({"x":)" + number + "}"),
            "x: " + number.substr(0, 60) +
                "… is out of range: no number is beyond 1.7976931348623157e+308");
}

TEST(ReadingJson, RefusesTheTextsOfNumbersThatAreNotFiniteByName) {
  EXPECT_EQ(refusal<Rebars>(R"({"items":[{"bar_diameter":"NaN"}]})"),
            "items[0].bar_diameter: NaN cannot be given as JSON");
  EXPECT_EQ(refusal<geometry::Point2>(R"({"x":"Infinity"})"),
            "x: Infinity cannot be given as JSON");
  EXPECT_EQ(refusal<geometry::Point2>(R"({"x":"-Infinity"})"),
            "x: -Infinity cannot be given as JSON");
}

TEST(ReadingJson, RefusesAnyOtherTextForADouble) {
  EXPECT_EQ(refusal<Rebars>(R"({"items":[{},{},{},{"parameters_exact":{"a":"1.5"}}]})"),
            "items[3].parameters_exact.a: expected a number, found text");
}

TEST(ReadingJson, RefusesABareNaN) {
  EXPECT_EQ(refusal<geometry::Point2>(R"({"x":NaN})"),
            "request: malformed JSON at line 1, column 6 (byte 6): "
            "while parsing value - invalid literal");
}

TEST(ReadingJson, TakesEscapedText) {
  const auto sheet =
      from_json<cad::Sheet>(R"({"name":"a\u0000b\n\"\\\/\u00e4\ud83d\ude00","comment":"ä😀"})");
  EXPECT_EQ(sheet.name, std::string("a\0b\n\"\\/ä😀", 13));
  EXPECT_EQ(sheet.comment, "ä😀");
}

TEST(ReadingJson, TakesTheKeysOfAMapAsTheyAre) {
  const auto sheet = from_json<cad::Sheet>(
      R"({"properties":{"":{"value_int32":1},"a.b \u00e4":{"value_string":"x"}}})");
  ASSERT_THAT(sheet.properties, SizeIs(2));
  EXPECT_EQ(sheet.properties.at("").value_int32.value(), 1);
  EXPECT_EQ(sheet.properties.at("a.b ä").value_string.value(), "x");
}

TEST(ReadingJson, TakesAnEnumeratorByName) {
  EXPECT_EQ(from_json<cad::Hook>(R"({"direction":"kRight"})").direction,
            cad::HookDirection::kRight);
  EXPECT_EQ(from_json<cad::Rebar>(R"({"diff_state":"kAdded"})").diff_state.value(),
            cad::DiffState::kAdded);
}

TEST(ReadingJson, TakesAnyNumberForAnEnumerator) {
  EXPECT_EQ(from_json<cad::Hook>(R"({"direction":1})").direction, cad::HookDirection::kRight);
  EXPECT_EQ(from_json<cad::Hook>(R"({"direction":-2147483648})").direction,
            static_cast<cad::HookDirection>(std::numeric_limits<std::int32_t>::min()));
}

TEST(ReadingJson, NamesTheEnumeratorsWhenItKnowsNoSuch) {
  EXPECT_EQ(refusal<cad::Hook>(R"({"direction":"kright"})"),
            "direction: expected one of kLeft, kRight, or an integer from -2147483648 to "
            "2147483647, found \"kright\"");
}

TEST(ReadingJson, RefusesWhatIsNeitherNameNorNumberForAnEnumerator) {
  const std::string expected =
      "direction: expected one of kLeft, kRight, or an integer from -2147483648 to 2147483647, ";
  EXPECT_EQ(refusal<cad::Hook>(R"({"direction":true})"), expected + "found a boolean");
  EXPECT_EQ(refusal<cad::Hook>(R"({"direction":0.5})"), expected + "found 0.5");
  EXPECT_EQ(refusal<cad::Hook>(R"({"direction":2147483648})"), expected + "found 2147483648");
  EXPECT_EQ(refusal<cad::Hook>(R"({"direction":null})"), expected + "found null");
}

TEST(ReadingJson, TakesBase64OfEveryLength) {
  EXPECT_EQ(blob_of(""), "");
  EXPECT_EQ(blob_of("Zg=="), "f");
  EXPECT_EQ(blob_of("Zm8="), "fo");
  EXPECT_EQ(blob_of("Zm9v"), "foo");
  EXPECT_EQ(blob_of("Zm9vYg=="), "foob");
  EXPECT_EQ(blob_of("AP+A/w=="), std::string("\0\xFF\x80\xFF", 4));
}

TEST(ReadingJson, RefusesBase64WithoutItsPadding) {
  EXPECT_EQ(blob_refusal("Zg"),
            "value_blob: expected base64 text, found 2 characters, not a multiple of four");
  EXPECT_EQ(blob_refusal("Zm9vY"),
            "value_blob: expected base64 text, found 5 characters, not a multiple of four");
}

TEST(ReadingJson, RefusesBase64OfOtherCharacters) {
  EXPECT_EQ(blob_refusal("Zm9-"),
            "value_blob: expected base64 text, found another character at position 4");
  EXPECT_EQ(blob_refusal("Zm9vZm\\n="),
            "value_blob: expected base64 text, found another character at position 7");
  EXPECT_EQ(blob_refusal(" Zg="),
            "value_blob: expected base64 text, found another character at position 1");
  EXPECT_EQ(blob_refusal("ää"),
            "value_blob: expected base64 text, found another character at position 1");
}

TEST(ReadingJson, RefusesBase64PaddedInTheWrongPlace) {
  EXPECT_EQ(blob_refusal("Zg==Zg=="),
            "value_blob: expected base64 text, found another character at position 3");
  EXPECT_EQ(blob_refusal("Z==="),
            "value_blob: expected base64 text, found another character at position 2");
  EXPECT_EQ(blob_refusal("===="),
            "value_blob: expected base64 text, found another character at position 1");
}

TEST(ReadingJson, RefusesBase64WithAnyBitAfterItsLastByte) {
  for (const char* const text : {"Zh==", "Zi==", "Zk==", "Zo==", "Zm9=", "Zm+="}) {
    EXPECT_EQ(blob_refusal(text),
              "value_blob: expected base64 text, found bits after the last byte")
        << text;
  }
}

TEST(ReadingJson, RefusesANumberForABlob) {
  EXPECT_EQ(refusal<korvane::Variant>(R"({"value_blob":1})"),
            "value_blob: expected base64 text, found a number");
}

TEST(ReadingJson, RefusesAnUnknownField) {
  EXPECT_EQ(refusal<Rebars>(R"({"items":[{},{},{},{"parameters_exact":{"zz":1}}]})"),
            "items[3].parameters_exact.zz: unknown field");
  EXPECT_EQ(refusal<cad::Sheet>(R"({"Id":1})"), "Id: unknown field");
  EXPECT_EQ(refusal<korvane::Empty>(R"({"x":null})"), "x: unknown field");
}

TEST(ReadingJson, QuotesAFieldThatIsNoPlainWord) {
  EXPECT_EQ(refusal<cad::Sheet>(R"({"":1})"), R"([""]: unknown field)");
  EXPECT_EQ(refusal<cad::Sheet>(R"({"a.b\n":1})"), R"(["a.b\n"]: unknown field)");
}

TEST(ReadingJson, LeavesPlainWordsOfAllLettersAndDigitsBare) {
  for (const char* word : {"azAZ", "0123456789", "a_b-c"}) {
    EXPECT_EQ(refusal<cad::Sheet>("{\"" + std::string(word) + "\":1}"),
              std::string(word) + ": unknown field");
  }
}

TEST(ReadingJson, ShortensTheUnknownFieldBetweenTwoCharacters) {
  std::string name = "a";
  for (int i = 0; i < 1000; ++i) name += "ä";
  // 60 bytes end within a character.
  EXPECT_EQ(refusal<cad::Sheet>("{\"" + name + "\":1}"),
            "[\"" + name.substr(0, 59) + "…\"]: unknown field");
}

TEST(ReadingJson, RefusesAFieldGivenTwice) {
  EXPECT_EQ(refusal<Rebars>(R"({"items":[{"id":1,"mark":"a","id":1}]})"),
            "items[0].id: given twice");
  EXPECT_EQ(refusal<cad::SheetRef>(R"({"error":null,"error":null})"), "error: given twice");
}

TEST(ReadingJson, RefusesAKeyGivenTwice) {
  EXPECT_EQ(refusal<cad::Sheet>(R"({"properties":{"a":{},"b":{},"a":{}}})"),
            "properties.a: given twice");
  EXPECT_EQ(refusal<cad::Sheet>(R"({"properties":{"a b":{},"a\u0020b":{}}})"),
            "properties[\"a b\"]: given twice");
}

TEST(ReadingJson, NamesTheWholeRequest) {
  EXPECT_EQ(refusal<cad::Sheet>("[]"), "request: expected an object, found an array");
  EXPECT_EQ(refusal<cad::Sheet>("null"), "request: expected an object, found null");
  EXPECT_EQ(refusal<cad::Sheet>("\"x\""), "request: expected an object, found text");
}

TEST(ReadingJson, NamesWhatStandsInTheWrongPlace) {
  EXPECT_EQ(refusal<cad::Sheet>(R"({"name":{}})"), "name: expected text, found an object");
  EXPECT_EQ(refusal<Rebars>(R"({"items":{}})"), "items: expected an array, found an object");
  EXPECT_EQ(refusal<cad::Sheet>(R"({"properties":[]})"),
            "properties: expected an object, found an array");
  EXPECT_EQ(refusal<cad::Sheet>(R"({"properties":{"two words":{"value_int32":false}}})"),
            "properties[\"two words\"].value_int32: expected an integer, found a boolean");
  EXPECT_EQ(refusal<korvane::model::table::TABLE>(R"({"rows":[[],[{},3]]})"),
            "rows[1][1]: expected an object, found a number");
}

TEST(ReadingJson, RefusesEmptyText) {
  EXPECT_EQ(refusal<cad::Sheet>(""), "request: the text is empty");
  EXPECT_EQ(refusal<cad::Sheet>(" \r\n\t"), "request: the text is empty");
}

TEST(CheckingJson, PassesWhatNoRecordTakes) {
  check_json("[{\"a\":1e99,\"a\":[]},\"\xE2\x82\xAC\",null]");
  check_json("\xEF\xBB\xBF {}");
}

TEST(CheckingJson, RefusesWhatIsNotJsonAsReadingDoes) {
  for (const std::string& text :
       {std::string(" \n"), std::string("{\"mark\":\n 7,}"), std::string(R"("\uD800")"),
        std::string("\"\xFF\""), std::string(65, '['), std::string("[1] 2"),
        std::string("1e999")}) {
    EXPECT_NE(refusal<cad::Sheet>(text), "nothing was thrown") << text;
    EXPECT_EQ(json_error([&] { check_json(text); }), refusal<cad::Sheet>(text));
  }
}

TEST(ReadingJson, NamesTheLineAndTheByteOfMalformedText) {
  EXPECT_EQ(refusal<cad::Sheet>("{\n  \"id\": 1,\n  \"uid\": x\n}"),
            "request: malformed JSON at line 3, column 10 (byte 23): "
            "while parsing value - invalid literal");
}

TEST(ReadingJson, NamesTheEndOfTextThatIsCut) {
  EXPECT_EQ(refusal<cad::Sheet>(R"({"id":1)"),
            "request: malformed JSON at line 1, column 8 (byte 8): "
            "while parsing object - unexpected end of input; expected '}'");
}

TEST(ReadingJson, RefusesTextWhereverItIsCut) {
  const std::string whole = to_json(cad::Sheet{1, "u", "n\n", "", {{"k", {}}}});
  for (std::size_t length = 1; length < whole.size(); ++length) {
    EXPECT_THAT(refusal<cad::Sheet>(whole.substr(0, length)),
                StartsWith("request: malformed JSON at line 1, column "))
        << length;
  }
}

TEST(ReadingJson, RefusesWhatFollowsTheRecord) {
  EXPECT_EQ(refusal<cad::Sheet>("{} {}"),
            "request: malformed JSON at line 1, column 4 (byte 4): "
            "while parsing value - unexpected '{'; expected end of input");
}

TEST(ReadingJson, RefusesWhatFollowsANulCharacter) {
  EXPECT_EQ(refusal<cad::Sheet>(std::string_view("{}\n\0{}", 6)),
            "request: malformed JSON at line 2, column 1 (byte 4): a NUL character");
}

TEST(ReadingJson, RefusesCommentsAndTrailingCommas) {
  EXPECT_THAT(refusal<cad::Sheet>("{} // done"), HasSubstr("malformed JSON"));
  EXPECT_THAT(refusal<cad::Sheet>(R"({"id":1,})"), HasSubstr("malformed JSON"));
}

TEST(ReadingJson, RefusesTextThatIsNotUtf8) {
  EXPECT_EQ(refusal<cad::Sheet>("{\"name\":\"a\xE4\"}"),
            "request: malformed JSON at line 1, column 12 (byte 12): "
            "while parsing value - invalid string: ill-formed UTF-8 byte");
  EXPECT_THAT(refusal<cad::Sheet>("{\"name\":\"\xC0\x80\"}"), EndsWith("ill-formed UTF-8 byte"));
  EXPECT_THAT(refusal<cad::Sheet>("{\"name\":\"\xED\xA0\x80\"}"),
              EndsWith("ill-formed UTF-8 byte"));
  EXPECT_THAT(refusal<cad::Sheet>("\xFF"), HasSubstr("invalid literal"));
}

TEST(ReadingJson, RefusesHalfASurrogatePair) {
  EXPECT_THAT(refusal<cad::Sheet>(R"({"name":"\ud83d"})"), HasSubstr("malformed JSON"));
}

TEST(ReadingJson, RefusesControlCharactersInText) {
  EXPECT_THAT(refusal<cad::Sheet>("{\"name\":\"a\nb\"}"), HasSubstr("malformed JSON"));
}

TEST(ReadingJson, TakesNestingOf64Levels) {
  EXPECT_EQ(refusal<cad::Sheet>(nested(64)), "request: expected an object, found an array");
}

TEST(ReadingJson, RefusesNestingOf65Levels) {
  EXPECT_EQ(refusal<cad::Sheet>(nested(65)), "request: nested deeper than 64 levels");
}

TEST(ReadingJson, RefusesAMillionLevelsBeforeItComesToTheirEnd) {
  // The end would be malformed.
  EXPECT_EQ(refusal<cad::Sheet>(std::string(1'000'000, '[')),
            "request: nested deeper than 64 levels");
  std::string objects;
  for (int i = 0; i < 1'000'000; ++i) objects += "{\"a\":";
  EXPECT_EQ(refusal<cad::Sheet>(objects), "request: nested deeper than 64 levels");
}

TEST(ReadingJson, CountsTheLevelsThatAreOpen) {
  std::string items = "{}";
  for (int i = 0; i < 1000; ++i) items += ",{}";
  EXPECT_THAT(from_json<Rebars>(R"({"items":[)" + items + "]}").items, SizeIs(1001));
}

}  // namespace
