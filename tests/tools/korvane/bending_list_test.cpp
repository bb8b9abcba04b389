// `korvane bending-list`, as a person runs it.

#include <filesystem>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tests/tools/korvane/program.h"
#include "tests/tools/korvane/served_folder.h"
#include "tools/korvane/exit_codes.h"

namespace korvane::tools {
namespace {

using test::Outcome;
using test::text_of;
using testing::HasSubstr;
using testing::StartsWith;

class BendingList : public testing::Test {
 protected:
  BendingList() {
    EXPECT_EQ(test::run_program(folder_, "import " KORVANE_EXAMPLES "/guideline.abs --project " +
                                             folder_.file("project.db"))
                  .exit_code,
              kDone);
  }
  Outcome run(const std::string& options) {
    return test::run_program(folder_, "bending-list " + folder_.file("project.db") + " " + options);
  }
  std::string file(const std::string& name) const { return folder_.file(name); }

  test::TemporaryFolder folder_;
};

TEST_F(BendingList, TheExtensionSaysTheFormat) {
  EXPECT_EQ(run("-o " + file("list.pdf")).exit_code, kDone);
  EXPECT_THAT(text_of(file("list.pdf")), StartsWith("%PDF-"));
  EXPECT_EQ(run("-o " + file("list.SVG")).exit_code, kDone);
  EXPECT_THAT(text_of(file("list.SVG")), HasSubstr("<svg"));
  EXPECT_EQ(run("-o " + file("list.html")).exit_code, kDone);
  EXPECT_THAT(text_of(file("list.html")), StartsWith("<!DOCTYPE html>"));
  EXPECT_EQ(run("--format svg -o " + file("list.txt")).exit_code, kDone);
  EXPECT_THAT(text_of(file("list.txt")), HasSubstr("<svg"));
}

TEST_F(BendingList, RefusesAFormatThatItCannotTell) {
  const Outcome unknown = run("-o " + file("list.png"));
  EXPECT_EQ(unknown.exit_code, kWrongUsage);
  EXPECT_THAT(unknown.err, HasSubstr("expected .pdf, .html or .svg, or --format"));
  EXPECT_EQ(run("-o " + file("list")).exit_code, kWrongUsage);
  EXPECT_EQ(run("-o -").exit_code, kWrongUsage);
  EXPECT_EQ(run("").exit_code, kWrongUsage);
  EXPECT_EQ(run("-o " + file("list.pdf") + " --format png").exit_code, kWrongUsage);
}

TEST_F(BendingList, PrintsOnTheStandardOutput) {
  const Outcome outcome = run("-o - --format svg --sheet 417 --revision a --date 2026-01-31");
  EXPECT_EQ(outcome.exit_code, kDone) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr(">2026-01-31</text>"));
  EXPECT_THAT(outcome.out, HasSubstr("Page 3 of 3"));
  EXPECT_EQ(outcome.err, "");
}

TEST_F(BendingList, OfADateIsTheSameAgain) {
  EXPECT_EQ(run("--date 2026-01-31 -o " + file("a.pdf")).exit_code, kDone);
  EXPECT_EQ(run("--date 2026-01-31 -o " + file("b.pdf")).exit_code, kDone);
  EXPECT_EQ(text_of(file("a.pdf")), text_of(file("b.pdf")));
  for (const std::string date :
       {"2026-02-30", "31.1.2026", "2026-1-31", "0000-01-01", "2026-01-31x"}) {
    const Outcome wrong = run("--date " + date + " -o " + file("c.pdf"));
    EXPECT_EQ(wrong.exit_code, kWrongUsage) << date;
    EXPECT_THAT(wrong.err, HasSubstr("expected a date such as 2026-01-31"));
  }
}

TEST_F(BendingList, OfWhatIsNotThereLeavesTheOldFile) {
  std::ofstream(file("list.pdf")) << "old";
  const Outcome outcome = run("--sheet 9 -o " + file("list.pdf"));
  EXPECT_EQ(outcome.exit_code, kFailed);
  EXPECT_EQ(outcome.err, "korvane: no sheet \"9\" in this project\n");
  EXPECT_EQ(text_of(file("list.pdf")), "old");
}

TEST_F(BendingList, ThatCannotBeWrittenLeavesTheOldFile) {
  for (const std::string format : {"pdf", "svg", "html"}) {
    std::ofstream(file("kept")) << "old";
    const Outcome failed = test::run_program(
        folder_,
        "bending-list " + file("project.db") + " --format " + format + " -o " + file("kept"),
        "trap '' XFSZ; ulimit -f 4;");
    EXPECT_EQ(failed.exit_code, kFailed) << format;
    EXPECT_THAT(failed.err, HasSubstr("cannot write " + file("kept"))) << format;
    EXPECT_EQ(text_of(file("kept")), "old") << format;
  }
}

TEST_F(BendingList, OfAServersProjectIsTheSame) {
  test::ServedFolder server;
  std::filesystem::copy_file(file("project.db"), server.file("project.db"));
  EXPECT_EQ(run("--date 2026-01-31 -o " + file("here.html")).exit_code, kDone);
  const Outcome outcome =
      test::run_program(folder_, "bending-list project.db --server " + server.url() +
                                     " --date 2026-01-31 -o " + file("there.html"));
  EXPECT_EQ(outcome.exit_code, kDone) << outcome.err;
  EXPECT_EQ(text_of(file("there.html")), text_of(file("here.html")));
}

}  // namespace
}  // namespace korvane::tools
