#include "contracts/encoding/json_direct.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "contracts/cad/contracts.describe.h"
#include "contracts/common/contracts.describe.h"
#include "contracts/encoding/json.h"
#include "contracts/encoding/json_parse.h"
#include "contracts/encoding/json_reader.h"
#include "contracts/encoding/place.h"
#include "contracts/encoding/utf8.h"

namespace {

using korvane::Variant;
using korvane::encoding::JsonError;
using korvane::encoding::to_json;
using korvane::encoding::detail::is_utf8;
using korvane::encoding::detail::JsonDirectReader;
using korvane::encoding::detail::JsonReader;
using korvane::encoding::detail::parse_json;
using korvane::encoding::detail::Place;
using korvane::model::cad::Rebar;
using korvane::model::cad::Sheet;

template <class T>
std::optional<T> read_directly(std::string_view text) {
  T record{};
  return JsonDirectReader(text).read_whole(record) ? std::optional(record) : std::nullopt;
}

template <class T>
std::optional<T> read_tree(std::string_view text) {
  try {
    const auto tree = parse_json(text);
    T record{};
    JsonReader(tree, Place()).read(record);
    return record;
  } catch (const JsonError&) {
    return std::nullopt;
  }
}

const std::string kBar =
    R"({"id":7,"comment":"a \"b\" \\ \u00e9\ud83d\ude00 é","mark":"17","material_id":-2,)"
    R"("total_length":95.48,"shape_code":null,"parameters_exact":{"a":0.2534,"b":-2.9e3},)"
    R"("geometry":{"objects":[{"type":"kArc","length":1,"labels":[{"type":2,"text":"90°"}]},{}],)"
    R"("polyline":[{"x":0,"y":0.25,"z":-0.0},{"x":1e-7}]},"start_hook":{"type":"s","angle":2.5},)"
    R"("properties":{"a":{"value_int32":2147483647},"b":{"value_blob":"AAEC"},"c":{"bool_":true}},)"
    R"("diff_state":"kAdded" , "textblock" : {"items":{"rows":[{"cells":[]}]}} })";

TEST(ReadingJsonDirectly, GivesTheRecordOfTheTree) {
  const auto direct = read_directly<Rebar>(kBar);
  ASSERT_TRUE(direct);
  EXPECT_EQ(direct, read_tree<Rebar>(kBar));
  EXPECT_EQ(direct->comment, "a \"b\" \\ \u00e9\U0001F600 \u00e9");
  EXPECT_EQ(direct->properties.at("a").value_int32.value(), 2147483647);
}

TEST(ReadingJsonDirectly, TakesWhatIsWritten) {
  const std::string written = to_json(*read_tree<Rebar>(kBar));
  const auto direct = read_directly<Rebar>(written);
  ASSERT_TRUE(direct);
  EXPECT_EQ(to_json(*direct), written);
}

TEST(ReadingJsonDirectly, LeavesUnusualTextsToTheTree) {
  for (const char* const text :
       {"\xEF\xBB\xBF{\"id\":7}", R"({"id":7.0})", R"({"id":7e0})", R"({"id":70e-1})"}) {
    EXPECT_FALSE(read_directly<Sheet>(text)) << text;
    EXPECT_EQ(read_tree<Sheet>(text)->id, 7) << text;
  }
}

TEST(ReadingJsonDirectly, TakesNothingThatTheTreeRefuses) {
  for (const char* const text : {"",
                                 " ",
                                 "{",
                                 "{}}",
                                 "{} x",
                                 "[]",
                                 "null",
                                 R"({"id":1,})",
                                 R"({,"id":1})",
                                 R"({"id" 1})",
                                 R"({"id":})",
                                 R"({"id":01})",
                                 R"({"id":-})",
                                 R"({"id":+1})",
                                 R"({"id":1 "uid":""})",
                                 R"({"id":2147483648})",
                                 R"({"id":-2147483649})",
                                 R"({"id":99999999999999999999})",
                                 R"({"id":null})",
                                 R"({"id":true})",
                                 R"({"id":1,"id":1})",
                                 R"({"x":1})",
                                 R"({"uid":"a)",
                                 "{\"uid\":\"a\nb\"}",
                                 "{\"uid\":\"\xFF\"}",
                                 "{\"uid\":\"\xED\xA0\x80\"}",
                                 R"({"uid":"\ud800"})",
                                 R"({"uid":"\udc00\ud800"})",
                                 R"({"uid":"\ud800\u0041"})",
                                 R"({"uid":"\u12g4"})",
                                 R"({"uid":"\x"})",
                                 R"({"uid":"\)",
                                 R"({"uid":"\u00)",
                                 R"({"properties":{"a":{},"a":{}}})",
                                 R"({"properties":{"a":{"value_double":1.}}})",
                                 R"({"properties":{"a":{"value_double":.5}}})",
                                 R"({"properties":{"a":{"value_double":1e}}})",
                                 R"({"properties":{"a":{"value_double":1e999}}})",
                                 R"({"properties":{"a":{"value_blob":"A"}}})",
                                 R"({"properties":{"a":{"bool_":truex}}})",
                                 R"({"properties":[]})"}) {
    EXPECT_FALSE(read_directly<Sheet>(text)) << text;
    EXPECT_FALSE(read_tree<Sheet>(text)) << text;
  }
  EXPECT_FALSE(read_directly<Sheet>(std::string_view("{}\0", 3)));
}

TEST(ReadingJsonDirectly, AgreesWithTheTreeWhateverIsChangedInAText) {
  constexpr int kChanges = 4000;
  constexpr std::string_view kCharacters = "{}[]\":,\\/ \n\t0123456789.eE+-nulltrfasbu\xC3\xA9\xED";
  constexpr std::uint32_t kSeed = 20;
  SCOPED_TRACE(kSeed);
  std::mt19937 random(kSeed);
  const auto below = [&](std::size_t limit) { return random() % limit; };
  int taken = 0;
  for (int i = 0; i < kChanges; ++i) {
    std::string text = kBar;
    for (std::size_t change = 0; change <= below(2); ++change) {
      const std::size_t at = below(text.size());
      const char c = kCharacters[below(kCharacters.size())];
      switch (below(3)) {
        case 0:
          text[at] = c;
          break;
        case 1:
          text.insert(at, 1, c);
          break;
        default:
          text.erase(at, 1 + below(3));
      }
    }
    const auto direct = read_directly<Rebar>(text);
    if (!direct) continue;
    ++taken;
    ASSERT_EQ(direct, read_tree<Rebar>(text)) << text;
  }
  EXPECT_GT(taken, kChanges / 40);
}

TEST(ReadingJsonDirectly, ReadsEachNumberAsTheNearestDouble) {
  std::mt19937_64 random(20);
  for (int i = 0; i < 3000; ++i) {
    const auto any = std::bit_cast<double>(random());
    const double plain = std::ldexp(static_cast<double>(random() % 2'000'000'000'000), -20);
    for (const double value : {any, plain}) {
      if (!std::isfinite(value)) continue;
      for (const char* const format : {"%.17g", "%.15g", "%.6f", "%.25f"}) {
        char number[400];
        std::snprintf(number, sizeof(number), format, value);
        const auto read = read_directly<Variant>("{\"value_double\":" + std::string(number) + "}");
        // What has no double of full precision is left to the tree.
        if (!read && std::fabs(value) < 1e-300) continue;
        ASSERT_TRUE(read) << number;
        ASSERT_EQ(std::bit_cast<std::uint64_t>(read->value_double.value()),
                  std::bit_cast<std::uint64_t>(std::strtod(number, nullptr)))
            << number;
      }
    }
  }
}

TEST(Utf8, IsNeitherOverlongNorASurrogateNorBeyondUnicode) {
  const std::string filler(100, 'a');
  for (const char* const text :
       {"", "a", "\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
        "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_TRUE(is_utf8(text + filler + text + filler));
    EXPECT_TRUE(is_utf8(filler + text));
  }
  for (const char* const text :
       {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xC2", "\xC2\x7F", "\xC2\xC0", "\xE0\x9F\xBF",
        "\xE1\x80", "\xE1\x80\x7F", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF", "\xF0\x90\x80",
        "\xF1\x80\x80\xC0", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF"}) {
    EXPECT_FALSE(is_utf8(text + filler));
    EXPECT_FALSE(is_utf8(filler + text));
  }
}

}  // namespace
