#include "schedule/xlsx.h"

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <vector>

#include <Poco/Zip/ZipArchive.h>
#include <Poco/Zip/ZipStream.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "schedule/xlsx_check.h"
#include "schedule/xlsx_text.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/text_of.h"

namespace korvane::schedule {
namespace {

using test::text_of;
using testing::HasSubstr;
using testing::ThrowsMessage;

/// The worksheets of a file as LibreOffice reads them, in CSV files "<name of the file>-<name of the
/// worksheet>.csv" beside it: texts in quotes, numbers bare and with all digits.
void open_in_libreoffice(const test::TemporaryFolder& folder, const std::string& file) {
  const std::string command =
      "soffice -env:UserInstallation=file://" + folder.file("profile") +
      " --headless --convert-to 'csv:Text - txt - csv (StarCalc):44,34,76,1,,0,true,true,false,"
      "false,false,-1' --outdir " +
      folder.path().string() + " " + file + " >" + folder.file("log") + " 2>&1";
  ASSERT_EQ(std::system(command.c_str()), 0) << text_of(folder.file("log"));
}

Table small_table() {
  Table table;
  table.name = "bars";
  table.title = "Bars";
  table.columns = {{"mark", "mark", Column::Kind::text, "", 0},
                   {"pieces", "pieces", Column::Kind::number, "", 0},
                   {"length", "length", Column::Kind::number, "mm", 1}};
  table.rows = {
      {std::string("10"), std::int64_t{2147483647}, 1234.5},
      {std::string("=1+1"), std::int64_t{-3}, 0.1},
      {std::string(" a \"b\",\n c"), {}, 1e22},
      {std::string("\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"), std::int64_t{0}, 12.345678901234567},
      {std::string("_x0041_ <&>"), std::int64_t{1}, std::numeric_limits<double>::quiet_NaN()},
      {std::string("https://example.org"), std::int64_t{1}, -0.25},
      {std::string("1\x01\xFF\0\xEF\xBF\xBF", 7), std::int64_t{1},
       std::numeric_limits<double>::infinity()}};
  table.totals = {{std::string("sum"), std::int64_t{2147483647}, 1e22}};
  table.notes = {"1 line lacks its weight.", "All revisions count."};
  return table;
}

TEST(Xlsx, OpensInLibreOfficeWithTheSameNumbersAndTexts) {
  const test::TemporaryFolder folder;
  Table other = small_table();
  other.name = "totals";
  other.title = "Totals: [by] mark/diameter, of all revisions";
  other.rows = {{{}, {}, 7.0}};
  other.totals.clear();
  other.notes.clear();
  Table same_title = other;
  same_title.name = "others";
  const std::string file = folder.file("book.xlsx");
  write_xlsx({small_table(), other, same_title}, file);
  open_in_libreoffice(folder, file);
  EXPECT_EQ(text_of(folder.file("book-Bars.csv")),
            "\"mark\",\"pieces\",\"length (mm)\"\n"
            "\"10\",2147483647,1234.5\n"
            "\"=1+1\",-3,0.1\n"
            "\" a \"\"b\"\",\n c\",,1E+022\n"
            "\"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\",0,12.3456789012346\n"
            "\"_x0041_ <&>\",1,\"nan\"\n"
            "\"https://example.org\",1,-0.25\n"
            "\"1\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\",1,\"inf\"\n"
            "\"sum\",2147483647,1E+022\n"
            ",,\n"
            "\"1 line lacks its weight.\",,\n"
            "\"All revisions count.\",,\n");
  EXPECT_EQ(text_of(folder.file("book-Totals_ _by_ mark_diameter, of .csv")),
            "\"mark\",\"pieces\",\"length (mm)\"\n,,7\n");
  EXPECT_EQ(text_of(folder.file("book-Totals_ _by_ mark_diameter, (2).csv")),
            "\"mark\",\"pieces\",\"length (mm)\"\n,,7\n");
}

/// A table of long rows.
Table large_table(std::size_t rows) {
  Table table = small_table();
  table.rows.assign(rows, {std::string(100, 'm'), std::int64_t{1}, 0.123456789});
  return table;
}

/// Files cannot grow beyond a size while it lives.
class SmallFiles {
 public:
  explicit SmallFiles(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit small{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
  }
  SmallFiles(const SmallFiles&) = delete;
  SmallFiles& operator=(const SmallFiles&) = delete;
  ~SmallFiles() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }

 private:
  void (*handler_)(int);
  rlimit before_{};
};

TEST(Xlsx, ThatCannotBeWrittenFails) {
  const test::TemporaryFolder folder;
  EXPECT_THAT([&] { write_xlsx({small_table()}, folder.file("missing/book.xlsx")); },
              ThrowsMessage<std::runtime_error>(
                  HasSubstr("cannot write " + folder.file("missing/book.xlsx") + ": ")));
  const SmallFiles limit(1000);
  EXPECT_THAT([&] { write_xlsx({small_table()}, folder.file("book.xlsx")); },
              ThrowsMessage<std::runtime_error>(HasSubstr("cannot write ")));
}

TEST(Xlsx, WhoseTemporaryFilesCannotGrowFails) {
  const test::TemporaryFolder folder;
  const std::string file = folder.file("book.xlsx");
  // Compressed it has room.
  write_xlsx({large_table(5000)}, file);
  constexpr rlim_t kLimit = 300'000;
  ASSERT_LT(std::filesystem::file_size(file), kLimit);
  const SmallFiles limit(kLimit);
  EXPECT_THAT([&] { write_xlsx({large_table(5000)}, file); },
              ThrowsMessage<std::runtime_error>("cannot write " + file +
                                                ": xl/worksheets/sheet1.xml is not whole"));
}

TEST(Xlsx, ThatIsCutIsNotWhole) {
  const test::TemporaryFolder folder;
  const std::string file = folder.file("book.xlsx");
  write_xlsx({small_table()}, file);
  EXPECT_EQ(fault_of_xlsx(file), "");
  const std::uintmax_t size = std::filesystem::file_size(file);
  for (const std::uintmax_t part : {size / 2, std::uintmax_t{0}}) {
    std::filesystem::resize_file(file, part);
    EXPECT_NE(fault_of_xlsx(file), "") << part;
  }
  EXPECT_EQ(fault_of_xlsx(folder.file("none")), "it cannot be read back");
}

TEST(Xlsx, LeavesNothingBesideTheFile) {
  const test::TemporaryFolder folder;
  write_xlsx({small_table()}, folder.file("book.xlsx"));
  { XlsxFile(folder.file("never.xlsx")).add_rows(small_table()); }
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    EXPECT_EQ(entry.path().filename(), "book.xlsx");
    ++files;
  }
  EXPECT_EQ(files, 1U);
}

TEST(Xlsx, GoesOnInAnotherWorksheetWhereOneIsFull) {
  const test::TemporaryFolder folder;
  Table table;
  table.name = "bars";
  table.title = "Bars";
  table.columns = {{"mark", "mark"}};
  table.rows.assign(10'000, {std::int64_t{1}});
  XlsxFile file(folder.file("book.xlsx"));
  for (int i = 0; i < 105; ++i) file.add_rows(table);
  table.totals = {{std::int64_t{1'050'000}}};
  file.add_totals(table);
  file.finish();
  std::ifstream book(folder.file("book.xlsx"), std::ios::binary);
  const Poco::Zip::ZipArchive archive(book);
  const auto sheet = archive.findHeader("xl/worksheets/sheet2.xml");
  ASSERT_NE(sheet, archive.headerEnd());
  Poco::Zip::ZipInputStream part(book, sheet->second);
  std::ostringstream text;
  text << part.rdbuf();
  // The first holds a header and 1,047,575 rows.
  EXPECT_THAT(text.str(), HasSubstr("<c r=\"A2426\"><v>1</v></c>"));
  EXPECT_THAT(text.str(), HasSubstr("<v>1050000</v>"));
  EXPECT_THAT(text.str(), testing::Not(HasSubstr("A2428")));
}

TEST(Xlsx, CountsTextsThatAreTooLongForACell) {
  const test::TemporaryFolder folder;
  Table table = small_table();
  table.rows = {{std::string(32767, 'a'), {}, {}}, {std::string(32768, 'a'), {}, {}}};
  XlsxFile file(folder.file("book.xlsx"));
  file.add_rows(table);
  EXPECT_EQ(file.shortened_texts(), 1U);
  file.finish();
}

TEST(Xlsx, WithoutTablesIsWhole) {
  const test::TemporaryFolder folder;
  write_xlsx({}, folder.file("book.xlsx"));
  EXPECT_EQ(fault_of_xlsx(folder.file("book.xlsx")), "");
}

TEST(WorksheetName, IsTheTitleAsFarAsItCanBe) {
  EXPECT_EQ(worksheet_name("Bar spacers"), "Bar spacers");
  EXPECT_EQ(worksheet_name("a/b\\c?d*e[f]g:h"), "a_b_c_d_e_f_g_h");
  EXPECT_EQ(worksheet_name("'quoted'"), "_quoted_");
  EXPECT_EQ(worksheet_name(""), "_");
  EXPECT_EQ(worksheet_name("HISTORY"), "HISTORY_");
  EXPECT_EQ(worksheet_name("two\nlines"), "two lines");
  EXPECT_EQ(worksheet_name(std::string(30, 'a') + "\xE2\x82\xAC\xE2\x82\xAC"),
            std::string(30, 'a') + "\xE2\x82\xAC");
}

TEST(XlsxText, HasOnlyWhatACellCanHave) {
  EXPECT_EQ(xlsx_text("a\tb\n"), "a\tb\n");
  EXPECT_EQ(xlsx_text("_x0041_x0042_ _x41_"), "_x005F_x0041_x005F_x0042_ _x41_");
  EXPECT_EQ(length_of("\xC3\xA4\xE2\x82\xAC"), 2U);
  EXPECT_EQ(first_characters("\xC3\xA4\xE2\x82\xAC", 1), "\xC3\xA4");
  EXPECT_EQ(first_characters("ab", 5), "ab");
  EXPECT_EQ(first_characters("ab", 0), "");
}

}  // namespace
}  // namespace korvane::schedule
