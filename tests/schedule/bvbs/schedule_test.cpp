#include "schedule/bvbs/schedule.h"

#include <sstream>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace korvane::schedule::bvbs {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::ThrowsMessage;

const std::string kGuideline = KORVANE_EXAMPLES "/guideline.abs";

/// A line of a file, given up to the C of its checksum.
std::string line_of(const std::string& record) {
  return record + std::to_string(checksum(record)) + "@\r\n";
}

Schedule schedule_of(const std::string& text, const ScheduleNames& names = {}) {
  std::istringstream input(text);
  return read_schedule(input, names, "unnamed");
}

std::string straight_bar(const std::string& drawing) {
  return line_of("BF2D@H" + drawing + "p1@l1000@n1@e0.888@d12@g@s@v@Gl1000@w0@C");
}

TEST(ReadSchedule, HasTheLinesOfEachKind) {
  const Schedule schedule = read_schedule_file(kGuideline, {});
  EXPECT_THAT(schedule.bars, SizeIs(16));
  EXPECT_THAT(schedule.fabrics, SizeIs(3));
  EXPECT_THAT(schedule.bar_spacers, SizeIs(2));
  EXPECT_THAT(schedule.skipped, IsEmpty());
}

TEST(ReadSchedule, RecordsWithoutAPlaceInAProjectAreCounted) {
  const std::string girder = line_of("BFGT@Hj@r@i@p1@l2356@n1@e4.3@mKT@h90@C");
  const Schedule schedule = schedule_of(girder + girder);
  EXPECT_THAT(schedule.skipped, ElementsAre(testing::Pair("BFGT", 2U)));
  EXPECT_THAT(schedule.bars, IsEmpty());
}

TEST(ReadSchedule, OnlyADrawingWithoutANumberGetsTheNameForUnnamedSheets) {
  const Schedule schedule = schedule_of(straight_bar("r417@ia@") + straight_bar("r@ia@"));
  ASSERT_THAT(schedule.bars, SizeIs(2));
  EXPECT_EQ(schedule.bars[0].drawing.sheet, "417");
  EXPECT_EQ(schedule.bars[1].drawing.sheet, "unnamed");
}

TEST(ReadSchedule, AFileGivesItsNameToDrawingsWithoutANumber) {
  EXPECT_EQ(read_schedule_file(KORVANE_EXAMPLES "/shapes.abs", {}).bars[0].drawing.sheet, "shapes");
}

TEST(ReadSchedule, GivenNamesTakeThePlaceOfTheRecords) {
  const Schedule schedule =
      schedule_of(straight_bar("r417@ia@") + straight_bar("r@i@"), {"S1", "b"});
  ASSERT_THAT(schedule.bars, SizeIs(2));
  for (const BarLine& bar : schedule.bars) {
    EXPECT_EQ(bar.drawing.sheet, "S1");
    EXPECT_EQ(bar.drawing.revision, "b");
  }
}

TEST(ReadSchedule, AWrongRecordIsNamedByItsLine) {
  EXPECT_THAT([] { schedule_of(straight_bar("") + "\r\nBF2D@Hp1@C65@\r\n"); },
              ThrowsMessage<RecordError>(HasSubstr("line 3: wrong checksum")));
}

TEST(ReadSchedule, AMissingFileIsNamed) {
  EXPECT_THAT([] { read_schedule_file("/no/such.abs", {}); },
              ThrowsMessage<std::runtime_error>("cannot read /no/such.abs"));
}

TEST(ReadSchedule, AWeightThatWasTakenAsTheTotalIsRemarked) {
  const Schedule schedule =
      schedule_of(line_of("BF2D@Hr1@ia@p1@l1000@n10@e8.88@d12@g@s@v@Gl1000@w0@C"));
  EXPECT_THAT(schedule.remarks,
              ElementsAre("line 1: the stated weight was taken as that of all pieces"));
}

TEST(ReadSchedule, LettersBeyondAsciiAreRemarked) {
  const Schedule schedule = schedule_of(straight_bar("r\xFC@ia@"));
  EXPECT_THAT(schedule.remarks,
              ElementsAre("line 1: letters beyond ASCII were taken as Windows-1252"));
  EXPECT_EQ(schedule.bars[0].drawing.sheet, "ü");
}

TEST(ReadSchedule, AWeightThatIsMissingIsRemarked) {
  EXPECT_THAT(read_schedule_file(kGuideline, {}).remarks,
              ElementsAre("line 13: no weight is stated; the mass per metre is 0"));
}

}  // namespace
}  // namespace korvane::schedule::bvbs
