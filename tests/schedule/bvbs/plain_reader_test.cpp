#include "tests/schedule/bvbs/plain_reader.h"

#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/text_of.h"

namespace korvane::test {
namespace {

std::vector<PlainRecord> records_of(const std::string& file) {
  return read_plain_file(text_of(KORVANE_EXAMPLES "/" + file));
}

TEST(PlainReader, ReadsEveryPublishedRecord) {
  EXPECT_EQ(records_of("guideline.abs").size(), 21U);
  EXPECT_EQ(records_of("shapes.abs").size(), 20U);
}

TEST(PlainReader, RefusesAWrongChecksum) {
  EXPECT_THROW(records_of("bad-checksum.abs"), std::runtime_error);
}

TEST(PlainReader, SplitsARecordIntoItsParts) {
  const PlainRecord record = read_plain(
      "BF2D@HjSW0532@rUGV-1007@i@p204@l908@n2@e1.42@d16@gK500C-T@s64@a0@t0@Gl386@w45.58@l146@w-91."
      "16@l146@w45.58@l286@w0@PnREBAR@hYM@C76@");
  EXPECT_EQ(record.header_order, "jriplnedgsat");
  EXPECT_EQ(record.header.at('g'), "K500C-T");
  ASSERT_EQ(record.legs.size(), 4U);
  EXPECT_EQ(record.legs[1].size, 146);
  EXPECT_EQ(record.legs[1].angle, -91.16);
  EXPECT_EQ(record.private_text, "PnREBAR@hYM@");
}

TEST(PlainReader, RefusesALineWithoutItsEnd) {
  EXPECT_THROW(read_plain_file("BF2D@Hp1@C65@\n"), std::runtime_error);
}

}  // namespace
}  // namespace korvane::test
