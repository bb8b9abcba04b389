#include "schedule/drawing/bending_list_pages.h"

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/schedule/drawing/page_texts.h"

namespace korvane::schedule::drawing {
namespace {

using test::has_text;
using testing::HasSubstr;

BendingBar bar(const std::string& mark) {
  BendingBar line;
  line.mark = mark;
  line.steel = "B500A";
  line.pieces = 20;
  line.members = "4 × 5";
  line.diameter = 12;
  line.length = 1000;
  line.total_metres = 20;
  line.mandrel = 48;
  line.hook_mandrel = 60;
  line.mass = 17.76;
  line.remarks = {"Member: wall", "End: coupler Lenton A12"};
  return line;
}

BendingFabric fabric(const std::string& mark) {
  BendingFabric line;
  line.mark = mark;
  line.type = "Q257";
  line.length = 5000;
  line.width = 2150;
  return line;
}

BendingSheet sheet(const std::string& name, int bars) {
  BendingSheet sheet;
  sheet.sheet = name;
  sheet.revision = "a";
  for (int i = 1; i <= bars; ++i) sheet.bars.push_back(bar(std::to_string(i)));
  if (bars > 0) {
    Sum sum;
    sum.lines = bars;
    sum.pieces = 20 * bars;
    sum.metres = 20 * bars;
    sum.mass = 17.76 * bars;
    sheet.totals.bars[{12, "B500A"}] = sum;
  }
  return sheet;
}

BendingList list_of(std::vector<BendingSheet> sheets) { return {"Bridge", std::move(sheets), {}}; }

void expect_all_in_place(const BendingListPages& pages) {
  for (std::size_t i = 0; i < pages.count(); ++i) {
    SCOPED_TRACE("page " + std::to_string(i + 1));
    test::expect_texts_in_place(pages.page(i));
  }
}

TEST(BendingListPages, HaveAHeadingWithNamesDateAndNumber) {
  const BendingListPages pages(list_of({sheet("417", 30)}), "2026-01-31");
  ASSERT_GT(pages.count(), 2U);
  for (std::size_t i = 0; i < pages.count(); ++i) {
    const Picture page = pages.page(i);
    for (const std::string& text :
         {std::string("Bridge"), std::string("417"), std::string("a"), std::string("2026-01-31"),
          "Page " + std::to_string(i + 1) + " of " + std::to_string(pages.count())}) {
      EXPECT_TRUE(has_text(page, text)) << text;
    }
  }
  EXPECT_EQ(pages.title(), "Bending list Bridge, Sheet 417, revision a");
  expect_all_in_place(pages);
}

TEST(BendingListPages, ARowHasAllThatIsKnown) {
  const BendingListPages pages(list_of({sheet("417", 1)}), "");
  const Picture page = pages.page(0);
  for (const std::string text : {"1", "20", "4 × 5", "12", "B500A", "1000", "20.00", "48",
                                 "hook 60", "17.76", "Member: wall", "End: coupler Lenton A12"}) {
    EXPECT_TRUE(has_text(page, text)) << text;
  }
}

TEST(BendingListPages, WhatIsNotKnownIsNotPrinted) {
  BendingSheet of_one = sheet("417", 0);
  of_one.bars.push_back({});
  of_one.bars.back().mark = "7";
  const BendingListPages pages(list_of({std::move(of_one)}), "");
  for (const Text& text : pages.page(0).texts) EXPECT_NE(text.text, "0");
}

TEST(BendingListPages, AnEstimateIsMarked) {
  BendingSheet of_one = sheet("417", 1);
  of_one.bars[0].mass.reset();
  of_one.bars[0].estimated_mass = 17.5;
  const BendingListPages pages(list_of({std::move(of_one)}), "");
  EXPECT_TRUE(has_text(pages.page(0), "≈ 17.50"));
}

TEST(BendingListPages, RepeatTheHeadAndSplitNoRow) {
  const BendingListPages pages(list_of({sheet("417", 25)}), "");
  EXPECT_TRUE(has_text(pages.page(0), "Bars"));
  EXPECT_TRUE(has_text(pages.page(1), "Bars, continued"));
  // Each mark has its remarks on its own page.
  for (std::size_t i = 0; i < pages.count(); ++i) {
    int marks = 0;
    int remarks = 0;
    const Picture page = pages.page(i);
    for (const Text& text : page.texts) {
      if (text.text == "hook 60") ++marks;
      if (text.text == "Member: wall") ++remarks;
    }
    EXPECT_EQ(marks, remarks);
  }
}

TEST(BendingListPages, EachRevisionBeginsAPageAndASummaryEndsAll) {
  const BendingListPages pages(list_of({sheet("417", 3), sheet("418", 3)}), "");
  ASSERT_EQ(pages.count(), 3U);
  EXPECT_EQ(pages.name(0), "Sheet 417, revision a");
  EXPECT_EQ(pages.name(1), "Sheet 418, revision a");
  EXPECT_EQ(pages.name(2), "Summary");
  EXPECT_TRUE(has_text(pages.page(1), "Page 2 of 3"));
  EXPECT_TRUE(has_text(pages.page(2), "Weight of all: 106.56 kg"));
  expect_all_in_place(pages);
}

TEST(BendingListPages, TotalsAreByDiameterAndSteelWithASum) {
  BendingSheet both = sheet("417", 2);
  both.totals.bars[{16, "B500B"}] = {1, 3, 4.5, 0, 1, 7.1};
  const BendingListPages pages(list_of({std::move(both)}), "");
  const Picture page = pages.page(0);
  for (const std::string text : {"Bars by diameter", "B500B", "4.50", "unknown", "7.10", "44.50",
                                 "Weight of all: 35.52 kg, and ≈ 7.10 kg estimated"}) {
    EXPECT_TRUE(has_text(page, text)) << text;
  }
  expect_all_in_place(pages);
}

TEST(BendingListPages, SayThatARevisionHasNoLinesOrAProjectNoRevision) {
  const BendingListPages no_lines(list_of({sheet("417", 0)}), "");
  ASSERT_EQ(no_lines.count(), 1U);
  EXPECT_TRUE(has_text(no_lines.page(0), "This revision has no lines."));
  const BendingListPages nothing({}, "");
  ASSERT_EQ(nothing.count(), 1U);
  EXPECT_TRUE(
      has_text(nothing.page(0), "There is no revision here, and so there is nothing to bend."));
  EXPECT_EQ(nothing.title(), "Bending list");
}

TEST(BendingListPages, ShowFabricsAloneWithoutBars) {
  BendingSheet fabrics = sheet("417", 0);
  fabrics.fabrics = {fabric("1"), fabric("2")};
  const BendingListPages pages(list_of({std::move(fabrics)}), "");
  EXPECT_TRUE(has_text(pages.page(0), "Fabrics"));
  EXPECT_FALSE(has_text(pages.page(0), "Bars"));
  EXPECT_TRUE(has_text(pages.page(0), "2150"));
}

TEST(BendingListPages, TextsThatAreTooLongAreShortenedAndNamed) {
  BendingSheet of_one = sheet("417", 1);
  of_one.bars[0].mark = "7";
  of_one.bars[0].remarks = {"Comment: " + std::string(10'000, 'x')};
  const BendingListPages pages(list_of({std::move(of_one)}), "");
  EXPECT_TRUE(has_text(pages.page(pages.count() - 1),
                       "Texts that end in “…” are longer than their place. They are at mark 7."));
  expect_all_in_place(pages);
}

TEST(BendingListPages, HostileTextsStayInTheirPlace) {
  std::string accents = "a";
  for (int i = 0; i < 500; ++i) accents += "\xCC\x81";
  const std::string texts[] = {std::string(10'000, 'W'),
                               "</svg><script>alert(1)</script>",
                               std::string("\0\x01\n\r\t\x1B\x7F", 7),
                               "\xFF\xC3",
                               "\xE2\x80\xAE" + std::string(300, 'r') + " \xD7\x90\xD7\x91",
                               accents,
                               "many short words, many short words, many short words, many short",
                               std::string(100, '\n')};
  std::vector<BendingSheet> sheets;
  for (const std::string& text : texts) {
    BendingSheet hostile;
    hostile.sheet = hostile.revision = hostile.comment = text;
    BendingBar line;
    line.mark = line.steel = line.members = text;
    line.pieces = 2'147'483'647;
    line.diameter = line.length = line.total_metres = line.mandrel = line.hook_mandrel = 1e300;
    line.mass = 123456789.123;
    line.remarks = {text, "Comment: " + text, text};
    line.shape.code = "";
    hostile.bars = {line, line};
    BendingFabric mesh;
    mesh.mark = mesh.type = mesh.steel = text;
    mesh.length = mesh.width = 0.001;
    hostile.fabrics = {mesh};
    BendingSpacer spacer;
    spacer.mark = spacer.name = text;
    hostile.bar_spacers = {spacer};
    BendingPart part;
    part.mark = part.name = part.order = part.steel = text;
    hostile.mounting_parts = {part};
    hostile.totals.bars[{1e300, text}] = {1, 2, 1e300, 1e300, 0, 0};
    hostile.totals.fabrics[{text, text}] = {1, 2, 0, 3, 0, 0};
    sheets.push_back(std::move(hostile));
  }
  const BendingListPages pages({texts[0], std::move(sheets), {texts[0]}}, "2026-01-31");
  expect_all_in_place(pages);
}

TEST(BendingListPages, ManyRemarksAreNoMoreThanAPage) {
  BendingSheet of_one = sheet("417", 1);
  of_one.bars[0].remarks.assign(1000, "remark");
  const BendingListPages pages(list_of({std::move(of_one)}), "");
  EXPECT_LE(pages.count(), 2U);
  expect_all_in_place(pages);
}

TEST(BendingListPages, EndWhereTheirCallerEndsThem) {
  int rows = 0;
  const auto end_after_ten = [&rows] {
    if (++rows == 10) throw std::runtime_error("enough");
  };
  EXPECT_THROW(BendingListPages(list_of({sheet("417", 100)}), "2026-01-31", end_after_ten),
               std::runtime_error);
  EXPECT_EQ(rows, 10);
}

TEST(BendingListPages, HaveShortTitlesWhateverNamesAreLike) {
  BendingList list = list_of({sheet(std::string(1'000'000, 's'), 1)});
  list.project = "a\nb" + std::string(1'000'000, 'p');
  const BendingListPages pages(std::move(list), "2026-01-31");
  EXPECT_THAT(pages.title(), testing::StartsWith("Bending list a bppp"));
  EXPECT_LT(pages.title().size(), 300U);
  EXPECT_LT(pages.name(0).size(), 200U);
}

}  // namespace
}  // namespace korvane::schedule::drawing
