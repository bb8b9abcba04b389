// What the parser makes of bytes, however they are cut.

#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/http/parse_in_pieces.h"
#include "tests/host/http/request_rows.h"

namespace korvane::test {

/// The name of the row instead of its bytes.
void PrintTo(const RequestRow& row, std::ostream* out) { *out << row.name; }

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Pair;

constexpr host::RequestLimits kLimits = {.header_bytes = 17'000, .body_bytes = 1000};

class Bytes : public ::testing::TestWithParam<RequestRow> {
 protected:
  static const std::string& bytes() { return GetParam().bytes; }
  static const host::RequestLimits& limits() { return GetParam().limits; }

  /// Every place where the bytes can be cut; of long ones those near the ends, and some between.
  static std::vector<std::size_t> cuts() {
    constexpr std::size_t kNear = 600;
    constexpr std::size_t kStep = 61;
    std::vector<std::size_t> cuts;
    for (std::size_t cut = 0; cut <= bytes().size(); ++cut) {
      const bool is_near = cut <= kNear || cut + kNear >= bytes().size();
      if (is_near || cut % kStep == 0) cuts.push_back(cut);
    }
    return cuts;
  }
};

TEST_P(Bytes, HaveTheirOutcomeWhereverTheyAreCut) {
  const ParsedBytes whole = parse_whole(bytes(), limits());
  EXPECT_EQ(whole.outcome, GetParam().outcome);
  EXPECT_EQ(whole.is_done ? bytes().substr(whole.taken) : "", GetParam().rest);
  EXPECT_EQ(parse_in_pieces(bytes(), limits(), [] { return 1; }), whole) << "one by one";
  for (const std::size_t cut : cuts()) {
    const auto next_length = [&, is_first = true]() mutable {
      return std::exchange(is_first, false) ? cut : bytes().size();
    };
    ASSERT_EQ(parse_in_pieces(bytes(), limits(), next_length), whole) << "cut at " << cut;
  }
}

TEST_P(Bytes, AreNotWholeBeforeTheyEndAndNotRefusedForTheirEnd) {
  const ParsedBytes whole = parse_whole(bytes(), limits());
  for (const std::size_t length : cuts()) {
    const ParsedBytes begun = parse_whole(bytes().substr(0, length), limits());
    ASSERT_EQ(begun.is_done, whole.is_done && length >= whole.taken) << "ended after " << length;
    ASSERT_TRUE(begun.status == 0 || begun == whole) << "ended after " << length;
  }
}

INSTANTIATE_TEST_SUITE_P(OfARequest, Bytes, ::testing::ValuesIn(request_rows()),
                         [](const auto& row) { return row.param.name; });

TEST(RequestParser, TakesEachOfSeveralRequestsByItself) {
  std::string text;
  for (const RequestRow& row : request_rows()) {
    const ParsedBytes parsed = parse_whole(row.bytes, kLimits);
    if (parsed.is_done) text += row.bytes.substr(0, parsed.taken);
  }
  int count = 0;
  for (std::string_view rest = text; !rest.empty(); ++count) {
    const ParsedBytes parsed = parse_whole(rest, kLimits);
    ASSERT_TRUE(parsed.is_done) << parsed.outcome;
    rest.remove_prefix(parsed.taken);
  }
  EXPECT_GT(count, 40);
}

TEST(RequestParser, ReadsTheHead) {
  const ParsedBytes parsed = parse_whole(
      "PUT /a?b=c HTTP/1.0\r\nHost:a:80 \r\nX-Tabs:\t b\tc \t\r\nx-tabs: d:e\r\n\r\n", kLimits);
  EXPECT_EQ(parsed.method, "PUT");
  EXPECT_EQ(parsed.target, "/a?b=c");
  EXPECT_EQ(parsed.version, "HTTP/1.0");
  EXPECT_THAT(parsed.fields,
              ElementsAre(Pair("Host", "a:80"), Pair("X-Tabs", "b\tc"), Pair("x-tabs", "d:e")));
}

TEST(RequestParser, LeavesEncodedWordsAsTheyAre) {
  const ParsedBytes parsed =
      parse_whole("GET / HTTP/1.1\r\nHost: a\r\nField: =?utf-8?Q?chunked?=\r\n\r\n", kLimits);
  EXPECT_THAT(parsed.fields, Contains(Pair("Field", "=?utf-8?Q?chunked?=")));
}

TEST(RequestParser, TakesTheHostOfAWholeAddress) {
  for (const std::string target : {"http://b:80/c", "HTTP://b:80", "https://b:80?c"}) {
    const ParsedBytes parsed =
        parse_whole("GET " + target + " HTTP/1.1\r\nHost: a\r\n\r\n", kLimits);
    EXPECT_THAT(parsed.fields, ElementsAre(Pair("Host", "b:80"))) << target;
  }
}

TEST(RequestParser, SaysWhatEncodingIsSupported) {
  const ParsedBytes parsed = parse_whole(
      "POST / HTTP/1.1\r\nHost: a\r\nContent-Encoding: gzip\r\nContent-Length: 2\r\n\r\n{}",
      kLimits);
  EXPECT_EQ(parsed.status, 415);
  EXPECT_THAT(parsed.reply_fields, ElementsAre(Pair("Accept-Encoding", "identity")));
}

}  // namespace
}  // namespace korvane::test
