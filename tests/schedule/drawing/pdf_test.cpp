#include "schedule/drawing/pdf.h"

#include <cstdlib>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/schedule/drawing/read_pdf.h"

namespace korvane::schedule::drawing {
namespace {

using test::pdf_info;
using test::pdf_text;
using testing::HasSubstr;
using testing::StartsWith;
using testing::ThrowsMessage;

Picture page_of(const std::string& text) {
  Picture page{210, 297, {}, {}};
  page.strokes.push_back({rectangle({10, 10}, 50, 20), 0.2});
  page.texts.push_back({{20, 20}, text, 3});
  return page;
}

std::string pdf_of(const std::vector<Picture>& pages,
                   const PdfInfo& info = {"list", "2026-01-31"}) {
  std::string bytes;
  PdfFile file(info, [&bytes](std::string_view piece) { bytes += piece; });
  for (const Picture& page : pages) file.add_page(page, "begin");
  file.finish();
  return bytes;
}

TEST(Pdf, HasATitleADateAndItsPages) {
  const std::string info =
      pdf_info(pdf_of({page_of("a"), page_of("b")}, {"List ø <7>", "2026-01-31"}));
  EXPECT_THAT(info, HasSubstr("List ø <7>"));
  EXPECT_THAT(info, HasSubstr("Jan 31"));
  EXPECT_THAT(info, testing::ContainsRegex("Pages: +2\n"));
  EXPECT_THAT(info, HasSubstr("(A4)"));
}

TEST(Pdf, TextsStayTextsInAnyLanguage) {
  for (const std::string text : {"Länge 1234.5 ø12", "Łódź Ωμέγα Жук", "fi ffi"}) {
    EXPECT_THAT(pdf_text(pdf_of({page_of(text)})), HasSubstr(text));
  }
}

TEST(Pdf, TheSamePagesMakeTheSameBytes) {
  EXPECT_EQ(pdf_of({page_of("a"), page_of("ø")}), pdf_of({page_of("a"), page_of("ø")}));
}

TEST(Pdf, TakesHostileTextsAndNumbers) {
  const double none = std::numeric_limits<double>::quiet_NaN();
  Picture page = page_of(std::string("a\0b\n\xFF \xE2\x80\xAE</svg>", 16));
  page.texts.push_back({{none, 0}, "lost", 3});
  page.strokes.push_back({path_through({{0, 0}, {none, 1}, {1e300, 5}}), 0.1});
  page.strokes.push_back({{{PathStep::Kind::curve, {1, 1}, {none, 0}, {0, 0}}}, 0.1});
  page.texts.push_back({{20, 30}, "kept", 3});
  EXPECT_THAT(pdf_text(pdf_of({page})), HasSubstr("kept"));
}

TEST(Pdf, PassesOnWhatTheSinkThrows) {
  const auto write = [] {
    PdfFile file({"list", ""}, [](std::string_view) { throw std::runtime_error("disk full"); });
    for (int i = 0; i < 100; ++i) file.add_page(page_of(std::to_string(i)));
    file.finish();
  };
  EXPECT_THAT(write, ThrowsMessage<std::runtime_error>("disk full"));
}

TEST(Pdf, PassesOnWhatTheSinkThrowsAtAnyPlace) {
  int fine = 0;
  const auto write = [&fine] {
    int taken = 0;
    PdfFile file({"list", ""}, [&](std::string_view) {
      if (taken++ == fine) throw std::runtime_error("disk full");
    });
    for (int i = 0; i < 3; ++i) file.add_page(page_of(std::to_string(i)), "begin");
    file.finish();
  };
  constexpr int kManyPieces = 1000;
  for (; fine < kManyPieces; ++fine) {
    try {
      write();
      break;
    } catch (const std::runtime_error& failure) {
      EXPECT_STREQ(failure.what(), "disk full");
    }
  }
  EXPECT_GT(fine, 10);
  EXPECT_LT(fine, kManyPieces);
}

TEST(Pdf, ThatIsNotFinishedAsksTheSinkNoMore) {
  std::string bytes;
  {
    PdfFile file({"list", ""}, [&bytes](std::string_view piece) { bytes += piece; });
    file.add_page(page_of("a"));
  }
  EXPECT_THAT(bytes, testing::Not(HasSubstr("%%EOF")));
}

}  // namespace
}  // namespace korvane::schedule::drawing
