#include "schedule/bvbs/schedule.h"

#include <string>
#include <variant>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/schedule/bvbs/record_text.h"
#include "tests/support/text_of.h"

namespace korvane::schedule::bvbs {
namespace {

using test::line_of;
using test::straight_bar;
using test::text_of;
using testing::ElementsAre;
using testing::FieldsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

const std::string kGuideline = text_of(KORVANE_EXAMPLES "/guideline.abs");

Findings findings_in(const std::string& text) {
  return read_schedule(text, [](AnyLine&&, const SourceLine&) {});
}

template <class Line>
std::vector<Line> lines_in(const std::string& text) {
  std::vector<Line> lines;
  read_schedule(text, [&](AnyLine&& line, const SourceLine&) {
    if (auto* const found = std::get_if<Line>(&line)) lines.push_back(std::move(*found));
  });
  return lines;
}

TEST(ReadSchedule, HasTheLinesOfEachKind) {
  EXPECT_THAT(lines_in<BarLine>(kGuideline), SizeIs(16));
  EXPECT_THAT(lines_in<FabricLine>(kGuideline), SizeIs(3));
  EXPECT_THAT(lines_in<BarSpacerLine>(kGuideline), SizeIs(2));
  EXPECT_THAT(findings_in(kGuideline).skipped, IsEmpty());
  EXPECT_THAT(findings_in(kGuideline).faults, IsEmpty());
}

TEST(ReadSchedule, EachLineIsReadAgainFromWhereItStands) {
  std::vector<std::size_t> numbers;
  read_schedule(kGuideline, [&](AnyLine&& line, const SourceLine& where) {
    numbers.push_back(where.number);
    const AnyLine again = read_line(parse_record(where));
    ASSERT_EQ(again.index(), line.index());
    if (const auto* const bar = std::get_if<BarLine>(&line)) {
      EXPECT_EQ(std::get<BarLine>(again).item, bar->item);
    }
  });
  EXPECT_THAT(numbers, SizeIs(21));
  EXPECT_EQ(numbers.back(), 21U);
}

TEST(ReadSchedule, RecordsWithoutAPlaceInAProjectAreCounted) {
  const std::string girder = line_of("BFGT@Hj@r@i@p1@l2356@n1@e4.3@mKT@h90@C");
  EXPECT_THAT(findings_in(girder + girder).skipped, ElementsAre(Pair("BFGT", 2U)));
  EXPECT_THAT(lines_in<BarLine>(girder), IsEmpty());
}

TEST(ReadSchedule, EveryFaultyRecordIsNamedAndTheOthersAreRead) {
  const std::string text = "BF2D@Hp1@C65@\r\n" + straight_bar("p1@") + "\r\nnonsense\n" +
                           straight_bar("p2@") + line_of("BF2D@Hr1@ia@p1@lx@n1@e1@d12@Gl1@w0@C");
  const Findings findings = findings_in(text);
  EXPECT_THAT(findings.faults,
              ElementsAre(FieldsAre(1U, HasSubstr("wrong checksum")),
                          FieldsAre(4U, HasSubstr("expected a record")),
                          FieldsAre(6U,
                                    "block H, field l: expected a cut length in millimetres, found "
                                    "\"x\"")));
  EXPECT_THAT(lines_in<BarLine>(text), SizeIs(2));
}

TEST(ReadSchedule, AByteOrderMarkIsNotAFault) {
  const std::string text = "\uFEFF" + straight_bar("p1@");
  EXPECT_THAT(findings_in(text).faults, IsEmpty());
  EXPECT_THAT(lines_in<BarLine>(text), SizeIs(1));
}

TEST(ReadSchedule, ANoteIsSaidOnceWithItsLinesCounted) {
  const std::string foreign = straight_bar("r\xFC@ia@p1@");
  EXPECT_THAT(findings_in(straight_bar("p1@") + foreign + "\n" + foreign).notes,
              ElementsAre(FieldsAre("letters beyond ASCII were taken as Windows-1252", 2U, 2U)));
  EXPECT_EQ(lines_in<BarLine>(foreign)[0].drawing.sheet, "ü");
}

TEST(ReadSchedule, AWeightThatWasTakenAsTheTotalIsNoted) {
  EXPECT_THAT(findings_in(line_of("BF2D@Hp1@l1000@n10@e8.88@d12@Gl1000@w0@C")).notes,
              ElementsAre(FieldsAre("the stated weight was taken as that of all pieces", 1U, 1U)));
}

TEST(ReadSchedule, AWeightThatIsMissingIsNoted) {
  EXPECT_THAT(findings_in(line_of("BF2D@Hp1@l1000@n10@d12@Gl1000@w0@C")).notes,
              ElementsAre(FieldsAre("no weight is stated; the mass per metre is 0", 1U, 1U)));
}

TEST(ReadSchedule, OfThePublishedExamplesOneHasNoWeightAndOneAnotherThanTheOthers) {
  EXPECT_THAT(
      findings_in(kGuideline).notes,
      ElementsAre(FieldsAre("the stated weight is not what length and diameter give", 1U, 9U),
                  FieldsAre("no weight is stated; the mass per metre is 0", 1U, 13U)));
}

TEST(ReadSchedule, AWeightThatLengthAndDiameterDoNotGiveIsNoted) {
  const auto with_weight = [](const std::string& weight) {
    return findings_in(line_of("BF2D@Hp1@l1000@n1@e" + weight + "@d12@Gl1000@w0@C")).notes;
  };
  const std::string text = "the stated weight is not what length and diameter give";
  EXPECT_THAT(with_weight("8.88"), ElementsAre(FieldsAre(text, 1U, 1U)));
  EXPECT_THAT(with_weight("0.6"), ElementsAre(FieldsAre(text, 1U, 1U)));
  // Countries differ in what a bar of a diameter weighs.
  for (const char* const weight : {"0.8", "0.888", "0.98"}) {
    EXPECT_THAT(with_weight(weight), IsEmpty()) << weight;
  }
}

TEST(ReadSchedule, ACutLengthThatTheLegsDoNotAddUpToIsNoted) {
  const auto with_length = [](const std::string& length) {
    return findings_in(line_of("BF2D@Hp1@l" + length + "@n1@e0.888@d12@Gl400@w90@l600@w0@C")).notes;
  };
  EXPECT_THAT(with_length("1000"), IsEmpty());
  EXPECT_THAT(with_length("1001"), IsEmpty());
  EXPECT_THAT(with_length("950"),
              ElementsAre(FieldsAre(HasSubstr("the cut length is less than the sum"), 1U, 1U)));
  EXPECT_THAT(with_length("1100"),
              ElementsAre(FieldsAre("the cut length is more than the sum of the legs", 1U, 1U)));
}

TEST(ReadSchedule, ASecondProjectIsNoted) {
  const std::string text = straight_bar("jTower@p1@") + straight_bar("j@p2@") +
                           straight_bar("jHall@p3@") + straight_bar("jTower@p4@") +
                           straight_bar("jShed@p5@");
  EXPECT_THAT(findings_in(text).notes,
              ElementsAre(FieldsAre(
                  "the project is another one than \"Tower\", which is named first", 2U, 3U)));
}

TEST(ReadSchedule, ASecondFabricTypeUnderOneNameIsNoted) {
  const auto fabric = [](const std::string& length, const std::string& weight,
                         const std::string& steel) {
    return line_of("BFMA@Hj@r1@ia@p7@l" + length + "@n1@e" + weight + "@g" + steel +
                   "@s@mQ257@b2150@v@C");
  };
  const std::string first = fabric("4000", "35", "B500A");
  EXPECT_THAT(findings_in(first + first).notes, IsEmpty());
  for (const std::string& other : {fabric("5000", "35", "B500A"), fabric("4000", "36", "B500A"),
                                   fabric("4000", "35", "B500B")}) {
    EXPECT_THAT(findings_in(first + other + other).notes,
                ElementsAre(FieldsAre("fabric type \"Q257\" differs in dimensions, weight or steel "
                                      "from the first of that name, which is kept",
                                      2U, 2U)));
  }
}

TEST(LooksLikeSchedule, IfAnyLineBeginsAsARecord) {
  EXPECT_TRUE(looks_like_schedule("a comment\r\nBF2D@H"));
  EXPECT_TRUE(
      looks_like_schedule("\uFEFF"
                          "BFGT@Hp1@"));
  EXPECT_FALSE(looks_like_schedule(""));
  EXPECT_FALSE(looks_like_schedule("Dear all,\nBFD@\n BF2D@"));
  EXPECT_FALSE(looks_like_schedule("{\"format\":\"korvane project\"}"));
}

}  // namespace
}  // namespace korvane::schedule::bvbs
