// `korvane import` as a person runs it.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/schedule/bvbs/record_text.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/temporary_folder.h"
#include "tests/tools/korvane/program.h"

namespace korvane {
namespace {

using test::line_of;
using test::Outcome;
using test::straight_bar;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

const std::string kFaulty = "BF2D@Hp1@C65@\r\n";

class ImportCommand : public testing::Test {
 protected:
  Outcome run(const std::string& arguments, const std::string& environment = "") {
    return test::run_program(folder_, arguments, environment);
  }
  Outcome import(const std::string& arguments) {
    return run("import --project " + project() + " " + arguments);
  }
  std::string project() const { return folder_.file("project.db"); }
  std::string write(const std::string& name, const std::string& text) {
    std::ofstream(folder_.file(name), std::ios::binary) << text;
    return folder_.file(name);
  }
  bool is_made() const { return std::filesystem::exists(project()); }
  /// The marks of all bars with the names of their sheets: "417:1 417:2".
  std::string bars() const {
    std::string text;
    for (const auto& row : test::plain_rows(project(), "select mark from rebar order by id")) {
      text += (text.empty() ? "" : " ") + *row[0];
    }
    return text;
  }

  test::TemporaryFolder folder_;
};

TEST_F(ImportCommand, SaysWhatItHasStoredAndPrintsNothing) {
  const Outcome outcome = import(KORVANE_EXAMPLES "/guideline.abs");
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_THAT(outcome.out, IsEmpty());
  EXPECT_THAT(outcome.err,
              HasSubstr("imported 16 bar marks, 3 fabric marks and 0 bar spacer marks into sheet "
                        "\"417\", revision \"a\"\n"));
}

TEST_F(ImportCommand, ShowsTheScheduleOnDemand) {
  const Outcome outcome = import(KORVANE_EXAMPLES "/guideline.abs --show");
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_EQ(outcome.out, test::text_of(KORVANE_TEST_DATA "/tools/guideline.txt"));
}

TEST_F(ImportCommand, QuietSaysNothing) {
  const Outcome outcome = import(KORVANE_EXAMPLES "/guideline.abs --quiet");
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_THAT(outcome.out + outcome.err, IsEmpty());
  EXPECT_THAT(bars(), Not(IsEmpty()));
}

TEST_F(ImportCommand, QuietStillNamesWhatIsFaulty) {
  const std::string file = write("a.abs", kFaulty + straight_bar("p1@"));
  EXPECT_THAT(import(file + " --quiet").err, StartsWith("korvane: " + file + ": line 1: wrong"));
  EXPECT_THAT(import(file + " --quiet --skip-faulty").err,
              StartsWith("left out: " + file + ": line 1: wrong"));
}

TEST_F(ImportCommand, TakesSeveralFilesAndFoldersInTheOrderOfTheirNames) {
  std::filesystem::create_directory(folder_.file("in"));
  write("in/b.abs", straight_bar("r1@ia@p2@"));
  write("in/a.ABS", straight_bar("r1@ia@p1@"));
  write("in/notes.txt", "not to be read");
  const std::string last = write("z.txt", straight_bar("r1@ia@p3@"));
  EXPECT_EQ(import(folder_.file("in") + " " + last).exit_code, 0);
  EXPECT_EQ(bars(), "1 2 3");
}

TEST_F(ImportCommand, AFileThatIsNamedTwiceIsReadOnce) {
  const std::string file = write("a.abs", straight_bar("r1@ia@p1@"));
  EXPECT_EQ(import(file + " " + folder_.path().string() + " " + file).exit_code, 0);
  EXPECT_EQ(bars(), "1");
}

TEST_F(ImportCommand, TakesTheStandardInput) {
  write("in", straight_bar("p1@"));
  const Outcome outcome = import("- <" + folder_.file("in"));
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_THAT(outcome.err, EndsWith("into sheet \"standard input\", revision \"\"\n"));
  EXPECT_EQ(bars(), "1");
}

TEST_F(ImportCommand, FaultyRecordsOfAllFilesAreNamedAndNothingIsStored) {
  const std::string a = write("a.abs", straight_bar("p1@") + kFaulty);
  const std::string b = write("b.abs", "nonsense\n" + straight_bar("p1@"));
  const Outcome outcome = import(a + " " + b);
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.err, HasSubstr("korvane: " + a + ": line 2: wrong checksum: the record "));
  EXPECT_THAT(outcome.err, HasSubstr("korvane: " + b + ": line 1: expected a record that begins"));
  EXPECT_THAT(outcome.err, EndsWith("korvane: nothing is stored, because of 2 faults; "
                                    "--skip-faulty stores the rest\n"));
  EXPECT_FALSE(is_made());
}

TEST_F(ImportCommand, SkipFaultyStoresTheRestAndExitsWithThree) {
  const std::string file = write("a.abs", straight_bar("p1@") + kFaulty + straight_bar("p2@"));
  const Outcome outcome = import(file + " --skip-faulty");
  EXPECT_EQ(outcome.exit_code, 3);
  EXPECT_THAT(outcome.err, HasSubstr("left out: " + file + ": line 2: wrong checksum"));
  EXPECT_EQ(bars(), "1 2");
  const std::string right = write("b.abs", straight_bar("p3@"));
  EXPECT_EQ(import(right + " --skip-faulty").exit_code, 0);
}

TEST_F(ImportCommand, SkipFaultyOfNothingElseFails) {
  EXPECT_EQ(import(KORVANE_EXAMPLES "/bad-checksum.abs --skip-faulty").exit_code, 1);
  EXPECT_FALSE(is_made());
}

TEST_F(ImportCommand, NothingToImportMakesNoFile) {
  const std::string file = write("girder.abs", line_of("BFGT@Hj@r@i@p1@l2356@n1@e4.3@mKT@h90@C"));
  const Outcome outcome = import(file);
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_EQ(outcome.err, "nothing to import in " + file +
                             "\nskipped 1 BFGT record: a project has no place for them\n");
  EXPECT_FALSE(is_made());
  const std::string empty = write("empty.abs", "");
  EXPECT_EQ(import(empty).err, "nothing to import in " + empty + "\n");
  EXPECT_FALSE(is_made());
}

TEST_F(ImportCommand, AByteOrderMarkIsNotAFault) {
  EXPECT_EQ(import(write("a.abs", "\uFEFF" + straight_bar("p1@"))).exit_code, 0);
  EXPECT_EQ(bars(), "1");
}

TEST_F(ImportCommand, ARevisionThatHasContentIsReplacedOrAddedToOnDemand) {
  const std::string first = write("a.abs", straight_bar("r1@ia@p1@"));
  const std::string second = write("b.abs", straight_bar("r1@ia@p2@"));
  import(first);
  const Outcome refused = import(second);
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(refused.err,
            "korvane: revision \"a\" of sheet \"1\" has 1 schedule line already: replace them, "
            "append to them, or name another revision\n");
  EXPECT_EQ(bars(), "1");
  const Outcome appended = import(second + " --append");
  EXPECT_EQ(appended.exit_code, 0);
  EXPECT_THAT(appended.err, EndsWith("revision \"a\", after 1 schedule line\n"));
  EXPECT_EQ(bars(), "1 2");
  const Outcome replaced = import(second + " --replace");
  EXPECT_EQ(replaced.exit_code, 0);
  EXPECT_THAT(replaced.err, EndsWith("revision \"a\", in place of 2 schedule lines\n"));
  EXPECT_EQ(bars(), "2");
}

TEST_F(ImportCommand, ManyRevisionsAreSummedUp) {
  std::string text;
  for (int i = 0; i < 42; ++i) {
    const std::string drawing = std::to_string(i / 2) + "@i" + (i % 2 == 0 ? "a@" : "b@");
    text += straight_bar("r" + drawing + "p1@");
  }
  EXPECT_EQ(import(write("a.abs", text)).err,
            "imported 42 bar marks, 0 fabric marks and 0 bar spacer marks into 42 revisions of 21 "
            "sheets\n");
}

TEST_F(ImportCommand, NamesCannotForgeALine) {
  const Outcome outcome = import(write("a.abs", straight_bar("r1\x1B[2J@ia@p1@")));
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_THAT(outcome.err, HasSubstr("sheet \"1?[2J\""));
}

TEST_F(ImportCommand, WhatIsMissingOrCannotBeReadIsNamed) {
  EXPECT_EQ(import("/no/such.abs").err, "korvane: no file or folder /no/such.abs\n");
  const Outcome unreadable = import("/proc/self/mem");
  EXPECT_EQ(unreadable.exit_code, 1);
  EXPECT_EQ(unreadable.err, "korvane: cannot read /proc/self/mem: Input/output error\n");
  EXPECT_FALSE(is_made());
}

TEST_F(ImportCommand, ReplaceAndAppendExcludeEachOther) {
  EXPECT_EQ(import(KORVANE_EXAMPLES "/guideline.abs --replace --append").exit_code, 2);
}

TEST_F(ImportCommand, TheExamplesOfItsHelpRun) {
  std::istringstream help(run("import --help").out);
  std::size_t examples = 0;
  for (std::string line; std::getline(help, line);) {
    const std::size_t program = line.find("korvane import ");
    if (!line.starts_with("  ") || program == std::string::npos) continue;
    ++examples;
    line.replace(program, std::string("korvane").size(), KORVANE_PROGRAM);
    const std::string command = "cd " + folder_.path().string() +
                                " && ln -sfn " KORVANE_EXAMPLES " examples && (" + line +
                                ") >out 2>err";
    const int status = std::system(command.c_str());
    const int expected = line.find("--skip-faulty") == std::string::npos ? 0 : 3;
    EXPECT_EQ(WEXITSTATUS(status), expected) << line << test::text_of(folder_.file("err"));
  }
  EXPECT_EQ(examples, 4U);
}

}  // namespace
}  // namespace korvane
