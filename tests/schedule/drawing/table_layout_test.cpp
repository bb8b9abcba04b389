#include "schedule/drawing/table_layout.h"

#include <limits>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "schedule/drawing/fonts.h"

namespace korvane::schedule::drawing {
namespace {

using testing::ElementsAre;

TEST(PaperNumber, HasSoManyDigits) {
  EXPECT_EQ(paper_number(12.0, 0), "12");
  EXPECT_EQ(paper_number(12.345, 2), "12.35");
  EXPECT_EQ(paper_number(0.5, 2), "0.50");
  EXPECT_EQ(paper_number(std::nullopt, 2), "");
  EXPECT_EQ(paper_number(1e300, 2), "1e+300");
  EXPECT_EQ(paper_number(std::numeric_limits<double>::infinity(), 2), "");
}

TEST(DecimalsOf, ANumberAreThoseThatItNeeds) {
  EXPECT_EQ(decimals_of(12.0), 0);
  EXPECT_EQ(decimals_of(9.5), 1);
  EXPECT_EQ(decimals_of(std::nullopt), 0);
}

std::vector<std::string> texts_of(const Block& block) {
  std::vector<std::string> texts;
  for (const Text& text : block.picture.texts) texts.push_back(text.text);
  return texts;
}

const TableLayout kLayout({{"Mark", "", 20}, {"Weight", "kg", 15, Align::right, true}}, false);

TEST(TableLayout, TheHeadHasTitlesAndUnits) {
  EXPECT_THAT(texts_of(kLayout.head("Bars")), ElementsAre("Bars", "Mark", "Weight", "kg"));
}

TEST(TableLayout, ARowGrowsWithItsRemarks) {
  const Block plain = kLayout.row({{{"1"}, {"2.50"}}});
  const Block remarked = kLayout.row({{{"1"}, {"2.50"}}, {"one", "two"}});
  EXPECT_GT(remarked.picture.height, plain.picture.height + 5);
  EXPECT_THAT(texts_of(remarked), ElementsAre("1", "2.50", "one", "two"));
}

TEST(TableLayout, ANumberThatIsTooWideIsSmallerAndWhole) {
  const Block block = kLayout.row({{{"1"}, {"123456789.25"}}});
  const Text& number = block.picture.texts.at(1);
  EXPECT_EQ(number.text, "123456789.25");
  EXPECT_LT(number.size, kValueSize);
  EXPECT_LE(text_width(number.text, number.size), 15);
}

TEST(TableLayout, ATextThatIsTooLongForItsCellStandsWholeAmongTheRemarks) {
  const std::string mark =
      "A mark of many words that are more than four lines of its cell can hold";
  const Block block =
      TableLayout({{"Mark", "", 20}, {"Name", "", 120}}, false).row({{{mark}, {"x"}}});
  EXPECT_FALSE(block.is_shortened);
  EXPECT_THAT(texts_of(block), testing::Contains("Mark: " + mark));
}

TEST(TableLayout, ATableLeavesOutColumnsThatHaveNothing) {
  Table table;
  table.columns = {{"name", "name", Column::Kind::text},
                   {"id", "id", Column::Kind::number, "", 0, true},
                   {"without", "without weight", Column::Kind::number, "marks", 0, false, "", true},
                   {"mass", "weight", Column::Kind::number, "kg", 2, false, "unknown"}};
  table.rows = {{std::string("a"), std::int64_t{7}, std::int64_t{0}, 1.5},
                {std::string("b"), std::int64_t{8}, std::int64_t{0}, Cell()}};
  const TableLayout layout(table);
  EXPECT_THAT(texts_of(layout.head("T")), ElementsAre("T", "Name", "Weight", "kg"));
  EXPECT_THAT(texts_of(layout.row(table.rows[0], false)), ElementsAre("a", "1.50"));
  EXPECT_THAT(texts_of(layout.row(table.rows[1], false)), ElementsAre("b", "unknown"));
}

}  // namespace
}  // namespace korvane::schedule::drawing
