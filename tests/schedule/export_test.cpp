#include "schedule/export.h"

#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <Poco/Zip/ZipArchive.h>
#include <Poco/Zip/ZipStream.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/rpc4/failure.h"
#include "schedule/content.h"
#include "tests/support/records.h"
#include "tests/support/store_test.h"

namespace korvane::schedule {
namespace {

using namespace model::cad;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using testing::ThrowsMessage;

std::size_t count_of(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) ++count;
  return count;
}

class Export : public test::StoreTest {
 protected:
  Export() {
    material_ = make_material();
    fabric_type_ = make_fabric_type(material_);
    Sheet sheet;
    sheet.name = "417";
    SheetRef ref;
    project().create_sheet(sheet, ref);
    sheet_ = ref.id.value();
    Revision revision;
    revision.sheet_id = sheet_;
    revision.name = "a";
    RevisionRef revision_ref;
    project().create_revision(revision, revision_ref);
    revision_ = revision_ref.id.value();
  }

  void add(const Content& content) { schedule::add_content(project(), sheet_, revision_, content); }

  /// A bar that every format can say.
  Rebar straight_bar(const std::string& mark) const {
    Rebar bar = test::minimal_bar(0, material_);
    bar.mark = mark;
    bar.total_bars = 2;
    bar.bar_diameter = 12;
    bar.total_length = 2000;
    GeometryObject leg;
    leg.length.set(1000);
    bar.geometry.objects = {leg};
    return bar;
  }

  std::string text(ExportReport (*run)(Project_Service&, const Selection&, const TextSink&)) {
    text_.clear();
    report_ = run(project(), {}, [this](std::string_view piece) { text_ += piece; });
    return text_;
  }
  std::string csv(const std::string& kind, const Selection& selection = {}) {
    text_.clear();
    report_ =
        export_csv(project(), selection, kind, [this](std::string_view piece) { text_ += piece; });
    return text_;
  }

  std::int32_t material_ = 0;
  std::int32_t fabric_type_ = 0;
  std::int32_t sheet_ = 0;
  std::int32_t revision_ = 0;
  std::string text_;
  ExportReport report_;
};

TEST_F(Export, AsBvbsNamesWhatTheFormatCannotSayAndWritesTheRest) {
  Content content;
  content.bars = {straight_bar("1"), test::minimal_bar(0, material_)};
  content.bars[1].mark = "2";
  content.mounting_parts = {test::minimal_mounting_part(0, material_)};
  content.mounting_parts[0].mark = "3";
  add(content);
  EXPECT_THAT(text(&export_bvbs), StartsWith("BF2D@"));
  EXPECT_EQ(count_of(text_, "\r\n"), 1U);
  EXPECT_EQ(report_.lines, 1U);
  EXPECT_THAT(report_.refusals, ElementsAre(StartsWith("sheet \"417\", revision \"a\": mark 2: "),
                                            StartsWith("sheet \"417\", revision \"a\": mark 3: ")));
}

TEST_F(Export, AsBvbsOfMoreLinesThanAreReadAtATimeHasAll) {
  Content content;
  content.bars.assign(2500, straight_bar("1"));
  content.bar_spacers = {test::full_bar_spacer(0)};
  add(content);
  text(&export_bvbs);
  EXPECT_EQ(count_of(text_, "BF2D@"), 2500U);
  EXPECT_EQ(report_.lines, 2501U);
  EXPECT_LT(text_.rfind("BF2D@"), text_.find("BFAU@"));
}

TEST_F(Export, AsCsvHasOneHeaderAndTheLinesOfOneKindAndNamesTheOthers) {
  Content content;
  content.bars.assign(2500, straight_bar("1"));
  content.fabrics = {test::full_fabric(0, fabric_type_)};
  content.bar_spacers.assign(2, test::full_bar_spacer(0));
  add(content);
  EXPECT_THAT(csv("bars"), StartsWith("sheet,revision,label,total_bars,bar_diameter"));
  EXPECT_EQ(count_of(text_, "\r\n"), 2501U);
  EXPECT_EQ(count_of(text_, "\r\n417,a,1,2,12,1000,"), 2500U);
  EXPECT_EQ(report_.lines, 2500U);
  EXPECT_THAT(report_.notes,
              ElementsAre("2 lines of bar spacers not written: --kind bar_spacers writes them",
                          "1 line of fabrics not written: --kind fabrics writes them"));
  EXPECT_THAT(csv("fabrics"), HasSubstr("\r\n417,a,"));
  EXPECT_EQ(report_.lines, 1U);
}

TEST_F(Export, AsCsvOfNothingIsAHeader) {
  for (const std::string& kind : table_kinds()) {
    EXPECT_THAT(csv(kind), StartsWith("sheet,revision,label,")) << kind;
    EXPECT_EQ(count_of(text_, "\r\n"), 1U);
    EXPECT_THAT(report_.notes, IsEmpty());
  }
  EXPECT_THAT(table_kinds(), ElementsAre("bars", "fabrics", "bar_spacers", "mounting_parts"));
}

TEST_F(Export, OfARevisionThatIsNotThereWritesNothing) {
  EXPECT_THAT(
      [&] {
        csv("bars", {"417", "z"});
      },
      ThrowsMessage<krv::rpc4::NotFound>("no revision \"z\" of sheet \"417\""));
  EXPECT_EQ(text_, "");
}

TEST_F(Export, AsXlsxHasAWorksheetForEachKindThatThereIsAndTotals) {
  Content content;
  content.bars.assign(2500, straight_bar("1"));
  content.mounting_parts = {test::full_mounting_part(0, material_)};
  add(content);
  const test::TemporaryFolder folder;
  const ExportReport report = export_xlsx(project(), {}, folder.file("book.xlsx"));
  EXPECT_EQ(report.lines, 2501U);
  EXPECT_THAT(report.refusals, IsEmpty());
  std::ifstream book(folder.file("book.xlsx"), std::ios::binary);
  const Poco::Zip::ZipArchive archive(book);
  const auto part = [&](const std::string& name) {
    std::ostringstream text;
    const auto header = archive.findHeader(name);
    if (header == archive.headerEnd()) return std::string();
    book.clear();
    text << Poco::Zip::ZipInputStream(book, header->second).rdbuf();
    return text.str();
  };
  const std::string workbook = part("xl/workbook.xml");
  std::vector<std::string> names;
  for (std::size_t at = 0; (at = workbook.find("<sheet name=\"", at)) != std::string::npos;) {
    at += 13;
    names.push_back(workbook.substr(at, workbook.find('"', at) - at));
  }
  EXPECT_THAT(names, ElementsAre("Bars", "Mounting parts", "Revisions", "Bars by diameter",
                                 "Mounting parts by type"));
  const std::string bars = part("xl/worksheets/sheet1.xml");
  // 2500 lines of two pieces below a header.
  EXPECT_THAT(bars, HasSubstr("<row r=\"2502\""));
  EXPECT_THAT(bars, HasSubstr("<v>5000</v>"));
  EXPECT_THAT(bars, HasSubstr("2500 lines have no weight and are not among the kilograms."));
}

TEST_F(Export, AsXlsxOfNothingIsABook) {
  const test::TemporaryFolder folder;
  const ExportReport report = export_xlsx(project(), {}, folder.file("book.xlsx"));
  EXPECT_EQ(report.lines, 0U);
}

}  // namespace
}  // namespace korvane::schedule
