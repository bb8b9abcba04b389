#include "schedule/drawing/print_bending_list.h"

#include <regex>
#include <stdexcept>
#include <string>

#include <Poco/AutoPtr.h>
#include <Poco/DOM/DOMParser.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#include <Poco/DOM/NodeList.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "schedule/import.h"
#include "schedule/import_plan.h"
#include "tests/schedule/drawing/read_pdf.h"
#include "tests/support/store_test.h"
#include "tests/support/text_of.h"

namespace korvane::schedule::drawing {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

std::string printed(const BendingListPages& pages, const std::string& format) {
  std::string text;
  print_bending_list(pages, format, [&text](std::string_view piece) { text += piece; });
  return text;
}

std::size_t elements_of(const std::string& xml, const std::string& name) {
  const Poco::AutoPtr<Poco::XML::Document> document(Poco::XML::DOMParser().parseString(xml));
  const Poco::AutoPtr<Poco::XML::NodeList> list(document->getElementsByTagName(name));
  return list->length();
}

BendingList hostile_list() {
  const std::string text = "</text></svg><script>alert(1)</script>&\x01\xFF\n";
  BendingSheet sheet;
  sheet.sheet = sheet.revision = sheet.comment = text;
  BendingBar bar;
  bar.mark = bar.steel = text;
  bar.remarks = {text};
  bar.shape.code = text;
  sheet.bars = {bar};
  return {text, {sheet}, {}};
}

class PrintedExample : public test::StoreTest {
 protected:
  PrintedExample() {
    Source source{"guideline.abs", test::text_of(KORVANE_EXAMPLES "/guideline.abs")};
    std::vector<Source> sources;
    sources.push_back(std::move(source));
    import_plan(project(), ImportPlan(std::move(sources), {}), IfFilled::refuse);
  }

  BendingListPages pages(const Selection& selection = {}) {
    return {read_bending_list(project(), selection), "2026-01-31"};
  }
};

TEST_F(PrintedExample, AsPdfHasTheValuesOfTheFile) {
  const std::string text = test::pdf_text(printed(pages(), "pdf"));
  EXPECT_THAT(text, HasSubstr("Page 1 of 5"));
  EXPECT_THAT(text, HasSubstr("Page 5 of 5"));
  // Of l1428, n10, e1.268, d12, gB500A, s48: a line with all of them.
  EXPECT_THAT(text, ContainsRegex("1 +10 +12 +B500A +1428 +14.28 +48 +12.68"));
  EXPECT_THAT(text, ContainsRegex("10.3 +1 +12 +B500A +1300 +1.30 +48 +1.15"));
  // A bar without a weight.
  EXPECT_THAT(text, ContainsRegex("1 +1 +10 +IV +1334 +1.33 +40 +≈ 0.82"));
  EXPECT_THAT(text, ContainsRegex("1 +10 +Q257 +B500A +4000 +2150 +48 +352.80"));
  EXPECT_THAT(text, ContainsRegex("1 +150 +DBV-200-L1/F/T"));
  EXPECT_THAT(text, HasSubstr("Start: coupler Lenton A12"));
  EXPECT_THAT(text, ContainsRegex("12 +B500A +15 +87 +1360.09 +1207.65"));
  EXPECT_THAT(text, HasSubstr("Weight of all: 2543.95 kg"));
}

TEST_F(PrintedExample, OfOneRevisionHasThatAlone) {
  const std::string text = test::pdf_text(printed(pages({"417", "a"}), "pdf"));
  EXPECT_THAT(text, HasSubstr("Page 1 of 3"));
  EXPECT_THAT(text, Not(HasSubstr("Summary")));
  EXPECT_THAT(text, Not(HasSubstr("DBV-200")));
}

TEST_F(PrintedExample, AsSvgHasEveryTextOfThePdf) {
  const std::string svg = printed(pages(), "svg");
  EXPECT_EQ(elements_of(svg, "svg"), 1U);
  EXPECT_EQ(elements_of(svg, "g"), 5U);
  EXPECT_THAT(svg, HasSubstr(">1360.09</text>"));
  EXPECT_THAT(svg, HasSubstr("height=\"1517mm\""));
}

TEST_F(PrintedExample, AsHtmlIsOneFileWithAPageForEachSheetOfPaper) {
  const std::string html = printed(pages(), "html");
  EXPECT_THAT(html, testing::StartsWith("<!DOCTYPE html>\n<html lang=\"en\">"));
  EXPECT_EQ(elements_of(html, "section"), 5U);
  EXPECT_EQ(elements_of(html, "svg"), 5U);
  EXPECT_EQ(elements_of(html, "script"), 0U);
  EXPECT_THAT(html, HasSubstr("@page{size:A4"));
  EXPECT_THAT(html, Not(ContainsRegex("(src|href)=")));
}

TEST_F(PrintedExample, TheSameListMakesTheSameBytes) {
  for (const ListFormat& format : kListFormats) {
    EXPECT_EQ(printed(pages(), format.name), printed(pages(), format.name)) << format.name;
  }
}

TEST(PrintedList, OfHostileTextsIsValid) {
  const BendingListPages pages(hostile_list(), "2026-01-31");
  for (const std::string format : {"svg", "html"}) {
    const std::string text = printed(pages, format);
    EXPECT_EQ(elements_of(text, "script"), 0U);
    EXPECT_THAT(text, Not(HasSubstr("<script")));
  }
  EXPECT_THAT(test::pdf_text(printed(pages, "pdf")), HasSubstr("alert(1)"));
}

TEST(PrintedList, OfAnUnknownFormatIsAnError) {
  const BendingListPages pages({}, "");
  EXPECT_THROW(printed(pages, "png"), std::logic_error);
}

TEST(Today, IsADate) {
  EXPECT_THAT(today(), testing::MatchesRegex("20[0-9]{2}-[01][0-9]-[0-3][0-9]"));
}

}  // namespace
}  // namespace korvane::schedule::drawing
