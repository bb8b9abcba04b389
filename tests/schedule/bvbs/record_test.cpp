#include "schedule/bvbs/record.h"

#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/schedule/bvbs/record_text.h"
#include "tests/support/text_of.h"

namespace korvane::schedule::bvbs {
namespace {

using test::with_checksum;
using testing::HasSubstr;
using testing::StartsWith;
using testing::ThrowsMessage;

std::vector<Record> records_of(const std::string& text) {
  std::vector<Record> records;
  SourceLines lines(text);
  while (const auto line = lines.next()) records.push_back(parse_record(*line));
  return records;
}

const std::string kStraight = with_checksum("BF2D@Hj@r@i@p1@l200@n1@e0.178@d12@g@s@v@Gl200@w0@C");

TEST(Checksum, IsNinetySixLessTheSumModuloThirtyTwo) {
  EXPECT_EQ(checksum("abcde@C"), 78);
  EXPECT_EQ(checksum("BF2D@C"), 95);
}

TEST(ParseRecord, SplitsBlocksAtACapitalAfterTheAt) {
  const Record record =
      parse_record(with_checksum("BF2D@HjA B@p1@Gl400@w90@l600@w0@MaLenton@bA12@c1@n@o@p@C"), 1);
  EXPECT_EQ(record.group, "BF2D");
  ASSERT_EQ(record.blocks.size(), 3U);
  EXPECT_EQ(record.find('H')->find('j'), "A B");
  EXPECT_EQ(record.find('G')->fields.size(), 4U);
  // A value may hold capitals: only an @ before one ends the block.
  EXPECT_EQ(record.find('M')->find('b'), "A12");
  EXPECT_EQ(record.find('M')->find('n'), "");
}

TEST(ParseRecord, AFieldThatIsLeftOutIsNotFound) {
  const Record record = parse_record(kStraight, 1);
  EXPECT_EQ(record.find('H')->find('m'), std::nullopt);
  EXPECT_EQ(record.find('M'), nullptr);
}

TEST(ParseRecord, PrivateTextRunsToTheLastChecksumAndMayHoldAnother) {
  const Record record = parse_record(with_checksum("BF2D@Hp1@Gl200@w0@PtSEGOPT;o0@C12@Xfree@C"), 1);
  EXPECT_EQ(record.find('X'), nullptr);
  EXPECT_THAT(record.source, HasSubstr("@C12@Xfree@C"));
}

TEST(ParseRecord, AWrongChecksumNamesLineStatedAndComputedValue) {
  EXPECT_THAT([] { parse_record("BF2D@Hp1@Gl200@w0@C70@", 7); },
              ThrowsMessage<RecordError>("line 7: wrong checksum: the record states 70, its "
                                         "characters give " +
                                         std::to_string(checksum("BF2D@Hp1@Gl200@w0@C"))));
}

TEST(ParseRecord, AChecksumThatIsNotANumberIsRefused) {
  EXPECT_THAT([] { parse_record("BF2D@Hp1@Gl200@w0@Cx1@", 2); },
              ThrowsMessage<RecordError>("line 2: the checksum block C holds \"x1\", expected a "
                                         "number from 65 to 96"));
}

TEST(ParseRecord, CharactersAfterTheNumberOfTheChecksumAreRefused) {
  const std::string record = "BF2D@Hp1@Gl200@w0@C";
  const std::string right = std::to_string(checksum(record));
  EXPECT_NO_THROW(parse_record(record + right, 2));
  EXPECT_NO_THROW(parse_record(record + right + "@", 2));
  for (const char* more : {"x", " ", ".0", "@@", "@x", "@P;"}) {
    const std::string stated = right + more;
    EXPECT_THAT(
        [&] { parse_record(record + stated, 2); },
        ThrowsMessage<RecordError>(StartsWith("line 2: the checksum block C holds \"" + right)))
        << stated;
  }
}

TEST(ParseRecord, AChecksumThatIsEmptyOrTooLongForANumberIsRefused) {
  for (const std::string stated : {"", "99999999999"}) {
    EXPECT_THAT([&] { parse_record("BF2D@Hp1@Gl200@w0@C" + stated + "@", 2); },
                ThrowsMessage<RecordError>("line 2: the checksum block C holds \"" + stated +
                                           "\", expected a number from 65 to 96"));
  }
}

TEST(ParseRecord, WhatDoesNotBeginWithAGroupIsRefused) {
  EXPECT_THAT([] { parse_record("# a comment", 3); },
              ThrowsMessage<RecordError>("line 3: expected a record that begins with its group "
                                         "such as BF2D@, found \"# a comm\""));
}

TEST(ParseRecord, AMissingHeaderIsRefused) {
  EXPECT_THAT([] { parse_record(with_checksum("BF2D@Gl200@w0@C"), 4); },
              ThrowsMessage<RecordError>("line 4: no header block H"));
}

TEST(ParseRecord, AMissingChecksumIsRefused) {
  EXPECT_THAT([] { parse_record("BF2D@Hp1@Gl200@w0@", 5); },
              ThrowsMessage<RecordError>("line 5: no checksum block C"));
}

TEST(ParseRecord, WhatIsNotAFieldIsNamedWithItsBlock) {
  EXPECT_THAT([] { parse_record(with_checksum("BF2D@Hp1@Gl200@;0@C"), 6); },
              ThrowsMessage<RecordError>("line 6: block G: expected a field, found \";0\""));
}

TEST(ParseRecord, NoLetterBesideTheCapitalsBeginsABlock) {
  EXPECT_NO_THROW(parse_record(with_checksum("BF2D@Hp1@Al1@Zl1@C"), 6));
  for (const char letter : {'[', '`', '{', '1'}) {
    EXPECT_THROW(parse_record(with_checksum(std::string("BF2D@Hp1@") + letter + "l1@C"), 6),
                 RecordError)
        << letter;
  }
}

TEST(ParseRecord, WhatIsQuotedInARefusalIsUtf8) {
  EXPECT_THAT([] { parse_record("BF2D@Hp1@Cx\xFC", 2); },
              ThrowsMessage<RecordError>(HasSubstr("the checksum block C holds \"xü\"")));
  EXPECT_THAT([] { parse_record(with_checksum("BF2D@Hp1@\xFC@C"), 6); },
              ThrowsMessage<RecordError>("line 6: block H: expected a field, found \"ü\""));
  EXPECT_THAT([] { parse_record(with_checksum("BF2D@\xFC@Hp1@C"), 6); },
              ThrowsMessage<RecordError>("line 6: expected a block, found \"ü\""));
}

TEST(SourceLines, TakesBothLineEndsAndSkipsEmptyLines) {
  const auto records = records_of(kStraight + "\r\n\r\n" + kStraight + "\n" + kStraight);
  ASSERT_EQ(records.size(), 3U);
  EXPECT_EQ(records[1].line, 3U);
  EXPECT_EQ(records[2].source, kStraight);
}

TEST(ParseRecord, ACarriageReturnWithoutALineFeedIsRefused) {
  EXPECT_THAT([] { records_of(kStraight + "\r" + kStraight + "\r\n"); },
              ThrowsMessage<RecordError>("line 1: a carriage return without a line feed after it"));
}

TEST(ParseRecord, BytesBeyondAsciiAreWindows1252) {
  const auto records = records_of(with_checksum("BF2D@Hj\xFC \x80@p1@Gl200@w0@C"));
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].find('H')->find('j'), "ü €");
  EXPECT_THAT(records[0].source, StartsWith("BF2D@Hjü €@"));
}

TEST(ParseRecord, BytesWithoutALetterInWindows1252AreControlCharacters) {
  const auto records = records_of(with_checksum("BF2D@Hj\x7F\x81\x9F\xA0\xFF@p1@Gl200@w0@C"));
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].find('H')->find('j'), "\x7F\xC2\x81\u0178\u00A0\u00FF");
}

TEST(ParseRecord, EveryPublishedRecordOfTheGuidelineHasItsChecksum) {
  EXPECT_EQ(records_of(test::text_of(KORVANE_EXAMPLES "/guideline.abs")).size(), 21U);
}

TEST(SourceLines, AByteOrderMarkIsNotPartOfTheFirstLine) {
  const std::string text = "\uFEFF" + kStraight + "\r\n" + kStraight;
  SourceLines lines(text);
  const auto first = lines.next();
  ASSERT_TRUE(first.has_value());
  EXPECT_EQ(first->text, kStraight);
  EXPECT_EQ(first->number, 1U);
  EXPECT_TRUE(first->has_mark);
  EXPECT_EQ(lines.next()->text, kStraight);
  EXPECT_FALSE(lines.next().has_value());
}

TEST(SourceLines, AMarkAloneHasNoLine) {
  EXPECT_FALSE(SourceLines("\uFEFF").next().has_value());
  EXPECT_FALSE(SourceLines("").next().has_value());
  EXPECT_FALSE(SourceLines("\r\n\n").next().has_value());
}

TEST(ParseRecord, LettersAfterAByteOrderMarkAreUtf8WithTheChecksumOfEitherForm) {
  const std::string before = "BF2D@Hj\xFC\x80@p1@Gl200@w0@C";
  const std::string after = "BF2D@Hjü€@p1@Gl200@w0@C";
  ASSERT_NE(checksum(before), checksum(after));
  for (const std::int32_t sum : {checksum(before), checksum(after)}) {
    const std::string line = after + std::to_string(sum) + "@";
    const Record record = parse_record({1, line, true});
    EXPECT_EQ(record.find('H')->find('j'), "ü€");
    EXPECT_EQ(record.source, line);
    EXPECT_FALSE(record.has_foreign_letters);
  }
}

TEST(ParseRecord, NeitherFormsChecksumIsWrongAfterAByteOrderMarkToo) {
  EXPECT_THAT(
      [] {
        parse_record({1, "BF2D@Hjü@p1@Gl200@w0@C66@", true});
      },
      ThrowsMessage<RecordError>(HasSubstr("wrong checksum: the record states 66")));
}

TEST(ParseRecord, LettersAfterAByteOrderMarkThatAreNotUtf8AreWindows1252) {
  const std::string line = with_checksum("BF2D@Hj\xFC@p1@Gl200@w0@C");
  const Record record = parse_record({1, line, true});
  EXPECT_EQ(record.find('H')->find('j'), "ü");
  EXPECT_TRUE(record.has_foreign_letters);
}

TEST(RecordError, HasItsLineAndItsReason) {
  const RecordError error(7, "no header block H");
  EXPECT_EQ(error.line(), 7U);
  EXPECT_EQ(error.reason(), "no header block H");
  EXPECT_STREQ(error.what(), "line 7: no header block H");
}

}  // namespace
}  // namespace korvane::schedule::bvbs
