#include "schedule/import_plan.h"

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/schedule/bvbs/record_text.h"
#include "tests/support/text_of.h"

namespace korvane::schedule {
namespace {

using test::line_of;
using test::straight_bar;
using test::text_of;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

const std::string kGuideline = text_of(KORVANE_EXAMPLES "/guideline.abs");

std::vector<std::string> faults_of(const ImportPlan& plan) {
  std::vector<std::string> texts;
  for (const SourceFault& fault : plan.faults()) texts.push_back(text_of(fault));
  return texts;
}

std::vector<std::string> notes_of(const ImportPlan& plan) {
  std::vector<std::string> texts;
  for (const SourceNote& note : plan.notes()) texts.push_back(text_of(note));
  return texts;
}

std::vector<std::pair<std::string, std::string>> names_of(const ImportPlan& plan) {
  std::vector<std::pair<std::string, std::string>> names;
  for (const PlannedRevision& planned : plan.revisions()) {
    names.emplace_back(planned.sheet, planned.revision);
  }
  return names;
}

TEST(ImportPlan, HasTheLinesOfEachRevisionOfAllSources) {
  const ImportPlan plan({{"a.abs", straight_bar("r1@ia@p1@") + straight_bar("r2@ia@p2@")},
                         {"b.abs", straight_bar("r1@ib@p3@") + straight_bar("r1@ia@p4@")}},
                        {});
  EXPECT_THAT(names_of(plan), ElementsAre(Pair("1", "a"), Pair("2", "a"), Pair("1", "b")));
  EXPECT_THAT(plan.revisions()[0].bars, SizeIs(2));
  EXPECT_EQ(plan.size(), 4U);
}

TEST(ImportPlan, HasSteelsFabricTypesAndTheFirstProject) {
  const ImportPlan plan({{"a.abs", straight_bar("p1@")}, {"guideline.abs", kGuideline}}, {});
  EXPECT_THAT(plan.steels(), ElementsAre("", "B500A", "IV"));
  EXPECT_THAT(plan.fabric_types(), SizeIs(2));
  EXPECT_EQ(plan.project(), "TestPDF");
}

TEST(ImportPlan, TheFirstFabricOfANameSaysItsType) {
  const auto fabric = [](const std::string& length) {
    return line_of("BFMA@Hj@r1@ia@p7@l" + length + "@n1@e1@gB@s@mQ@b2150@v@C");
  };
  const ImportPlan plan({{"a.abs", fabric("4000") + fabric("5000")}}, {});
  EXPECT_EQ(plan.fabric_types().at("Q").record.overall_length, 4000.0);
  EXPECT_EQ(plan.fabric_types().at("Q").steel, "B");
}

TEST(ImportPlan, OnlyADrawingWithoutANumberGetsTheSourcesName) {
  const ImportPlan plan({{"in/shapes.abs", straight_bar("r417@ia@p1@") + straight_bar("r@ia@p1@")}},
                        {});
  EXPECT_THAT(names_of(plan), ElementsAre(Pair("417", "a"), Pair("shapes", "a")));
}

TEST(ImportPlan, GivenNamesTakeThePlaceOfTheRecords) {
  const ImportPlan plan({{"a.abs", straight_bar("r417@ia@p1@") + straight_bar("r@i@p1@")}},
                        {"S1", "b"});
  EXPECT_THAT(names_of(plan), ElementsAre(Pair("S1", "b")));
}

TEST(ImportPlan, NamesEveryFaultOfEverySource) {
  const ImportPlan plan({{"a.abs", straight_bar("p1@") + "BF2D@Hp1@C65@\n"},
                         {"b.abs", straight_bar("p1@") + "x\n" + straight_bar("p2@") + "y\n"}},
                        {});
  EXPECT_THAT(faults_of(plan), ElementsAre(HasSubstr("a.abs: line 2: wrong checksum"),
                                           HasSubstr("b.abs: line 2: expected a record"),
                                           HasSubstr("b.abs: line 4: expected a record")));
  EXPECT_EQ(plan.size(), 3U);
}

TEST(ImportPlan, ATextOfNoKnownFormatIsOneFault) {
  const ImportPlan plan({{"letter.abs", "Dear all,\nplease find enclosed\n"}}, {});
  EXPECT_THAT(faults_of(plan),
              ElementsAre("letter.abs: is neither a bar schedule in the format of BVBS nor a "
                          "project in JSON"));
  EXPECT_EQ(plan.size(), 0U);
}

TEST(ImportPlan, ASourceOfBlanksHasNothing) {
  const ImportPlan plan({{"a.abs", ""}, {"b.abs", " \r\n\n"}}, {});
  EXPECT_THAT(plan.faults(), IsEmpty());
  EXPECT_EQ(plan.size(), 0U);
}

TEST(ImportPlan, NotesCountTheirLinesAndTheirSources) {
  const std::string heavy = line_of("BF2D@Hp1@l1000@n10@e8.88@d12@Gl1000@w0@C");
  const std::string text = "the stated weight was taken as that of all pieces";
  const std::string bar = straight_bar("p1@");
  EXPECT_THAT(notes_of(ImportPlan({{"a.abs", bar + heavy}}, {})),
              ElementsAre("a.abs: " + text + " (line 2)"));
  EXPECT_THAT(notes_of(ImportPlan({{"a.abs", bar + heavy + heavy}}, {})),
              ElementsAre("a.abs: " + text + " (2 lines, first line 2)"));
  EXPECT_THAT(
      notes_of(ImportPlan({{"a.abs", bar}, {"b.abs", bar + heavy}, {"c.abs", heavy + heavy}}, {})),
      ElementsAre(text + " (3 lines in 2 sources, first line 2 of b.abs)"));
}

TEST(ImportPlan, CountsWhatItSkipsInAllSources) {
  const std::string girder = line_of("BFGT@Hp1@C");
  const ImportPlan plan({{"a.abs", girder}, {"b.abs", girder + girder}}, {});
  EXPECT_THAT(plan.skipped(), ElementsAre(Pair("BFGT", 3U)));
}

TEST(ImportPlan, SaysHowFarItIs) {
  const std::string bar = straight_bar("p1@");
  std::vector<std::size_t> done;
  const ImportPlan plan({{"a.abs", bar + bar}, {"b.abs", bar}}, {},
                        [&](std::string_view step, std::size_t part, std::size_t total) {
                          EXPECT_EQ(step, "reading");
                          EXPECT_EQ(total, 3 * bar.size());
                          done.push_back(part);
                        });
  EXPECT_THAT(done, ElementsAre(0U, bar.size(), 2 * bar.size()));
}

/// A document of one revision, without lines.
std::string document_of(const std::string& sheet, const std::string& revision) {
  return R"({"format":"korvane project","version":1,"project":{},"materials":[],"fabric_types":[],)"
         R"("sheets":[{"sheet":{"name":")" +
         sheet + R"("},"revisions":[{"revision":{"name":")" + revision +
         R"("},"bars":[],"fabrics":[],"bar_spacers":[],"mounting_parts":[]}]}]})";
}

TEST(ImportPlan, ADocumentIsKnownByItsContent) {
  const ImportPlan plan({{"a.abs", "\uFEFF" + document_of("1", "a")}}, {});
  EXPECT_THAT(faults_of(plan), IsEmpty());
  ASSERT_THAT(plan.documents(), SizeIs(1));
  EXPECT_EQ(plan.documents()[0].source, "a.abs");
  EXPECT_FALSE(plan.is_empty());
}

TEST(ImportPlan, FaultsOfADocumentNameTheirSource) {
  const ImportPlan plan({{"a.json", "{\"format\":\"another\"}"}}, {});
  EXPECT_THAT(faults_of(plan), ElementsAre(testing::StartsWith("a.json: ")));
  EXPECT_TRUE(plan.is_empty());
}

TEST(ImportPlan, ADocumentGetsNoOtherNames) {
  const ImportPlan plan({{"a.json", document_of("1", "a")}}, {"S1", std::nullopt});
  EXPECT_THAT(faults_of(plan),
              ElementsAre("a.json: the names of a project in JSON cannot be replaced"));
  EXPECT_TRUE(plan.is_empty());
}

TEST(ImportPlan, ARevisionOfADocumentIsInNoOtherSource) {
  const ImportPlan plan({{"a.json", document_of("1", "a")},
                         {"b.json", document_of("2", "a")},
                         {"c.json", document_of("1", "a")},
                         {"d.abs", straight_bar("r2@ia@p1@")}},
                        {});
  EXPECT_THAT(faults_of(plan),
              ElementsAre("b.json: revision \"a\" of sheet \"2\" is in another source too",
                          "c.json: revision \"a\" of sheet \"1\" is in another source too"));
  ASSERT_THAT(plan.documents(), SizeIs(1));
  EXPECT_EQ(plan.documents()[0].source, "a.json");
}

}  // namespace
}  // namespace korvane::schedule
