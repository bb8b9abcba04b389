// The commands that print tables, as a person runs them.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "schedule/bvbs/record.h"
#include "tests/support/temporary_folder.h"
#include "tests/tools/korvane/program.h"
#include "tools/korvane/terminal_text.h"

namespace korvane {
namespace {

using nlohmann::json;
using test::Outcome;
using test::text_of;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class TableCommands : public testing::Test {
 protected:
  TableCommands() { import(KORVANE_EXAMPLES "/guideline.abs", "a.db"); }

  Outcome run(const std::string& arguments, const std::string& environment = "COLUMNS=80") {
    return test::run_program(folder_, arguments, environment);
  }
  std::string file(const std::string& name = "a.db") const { return folder_.file(name); }
  void import(const std::string& from, const std::string& name, const std::string& more = "") {
    ASSERT_EQ(run("import " + from + " --project " + file(name) + more).exit_code, 0);
  }
  /// The guideline with `what` replaced by `with` in all records, and right checksums.
  std::string changed_guideline(const std::string& what, const std::string& with) {
    std::ifstream input(KORVANE_EXAMPLES "/guideline.abs", std::ios::binary);
    std::ofstream output(file("changed.abs"), std::ios::binary);
    for (std::string line; std::getline(input, line);) {
      std::string record = line.substr(0, line.rfind("@C") + 2);
      const std::size_t place = record.find(what);
      if (place != std::string::npos) record.replace(place, what.size(), with);
      output << record << schedule::bvbs::checksum(record) << "@\r\n";
    }
    return file("changed.abs");
  }

  test::TemporaryFolder folder_;
};

TEST_F(TableCommands, ListHasRevisionsWithMarksPiecesAndKilograms) {
  const Outcome listed = run("list " + file() + " --format json");
  EXPECT_EQ(listed.exit_code, 0);
  const json rows = json::parse(listed.out);
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0]["sheet"], "417");
  EXPECT_EQ(rows[0]["revision"], "a");
  EXPECT_EQ(rows[0]["marks"], 19);
  EXPECT_EQ(rows[0]["bars"], 88);
  EXPECT_EQ(rows[0]["fabrics"], 30);
  EXPECT_NEAR(rows[0]["mass"].get<double>(), 1207.651 + 1086.7, 1e-6);
  EXPECT_EQ(rows[0]["marks_without_weight"], 1);
  EXPECT_EQ(rows[1]["bar_spacers"], 155);
}

TEST_F(TableCommands, ListAddsUpWhatIsSelected) {
  const json totals =
      json::parse(run("list " + file() + " --totals --revision a --format json").out);
  ASSERT_EQ(totals["bar_totals"].size(), 2U);
  EXPECT_EQ(totals["bar_totals"][1]["bar_diameter"], 12);
  EXPECT_EQ(totals["bar_totals"][1]["pieces"], 87);
  EXPECT_EQ(totals["bar_totals"][0]["mass"], nullptr);
  EXPECT_EQ(totals["fabric_totals"].size(), 2U);
  EXPECT_EQ(totals["bar_spacer_totals"].size(), 0U);
}

TEST_F(TableCommands, ShowHasEachRevisionAndAllTogether) {
  const Outcome shown = run("show " + file());
  EXPECT_EQ(shown.exit_code, 0);
  EXPECT_EQ(shown.out, text_of(KORVANE_TEST_DATA "/tools/guideline.txt"));
}

TEST_F(TableCommands, TablesKeepToTheWidthOfTheTerminal) {
  import(changed_guideline("@p10.1@l700@n1@", "@p10.1@l700@n3@"), "b.db");
  import(KORVANE_EXAMPLES "/shapes.abs", "b.db");
  for (const std::size_t width : {40U, 80U, 200U}) {
    for (const std::string& command :
         {"show " + file("b.db"), "list " + file("b.db"), "list --totals " + file("b.db"),
          "compare " + file() + " " + file("b.db")}) {
      std::istringstream lines(run(command, "COLUMNS=" + std::to_string(width)).out);
      std::size_t count = 0;
      for (std::string line; std::getline(lines, line); ++count) {
        EXPECT_LE(tools::width_of(line), width) << command << ": " << line;
      }
      EXPECT_GT(count, 3U) << command;
    }
  }
}

TEST_F(TableCommands, ShowOfAMarkHasItsLinesAlone) {
  const json shown = json::parse(run("show " + file() + " --mark 10.2 --format json").out);
  ASSERT_EQ(shown["bars"].size(), 1U);
  EXPECT_EQ(shown["bars"][0]["label"], "10.2");
  EXPECT_EQ(shown["bars"][0]["legs"], "400 (90°) 600");
  EXPECT_EQ(shown["fabrics"].size(), 0U);
  // Without its submark it names the whole set.
  EXPECT_EQ(json::parse(run("show " + file() + " --mark 10 --format json").out)["bars"].size(), 3U);
  const Outcome unknown = run("show " + file() + " --revision a --mark 99");
  EXPECT_EQ(unknown.exit_code, 1);
  EXPECT_EQ(unknown.err, "korvane: no mark \"99\" in sheet \"417\", revision \"a\"\n");
}

TEST_F(TableCommands, ShowOfAKindIsOneTableAsCsv) {
  const Outcome shown = run("show " + file() + " --kind bar_spacers --format csv");
  EXPECT_THAT(shown.out, StartsWith("sheet,revision,label,quantity,name,length,mass,"));
  EXPECT_THAT(shown.out, HasSubstr("\r\n417,\"\",1,5,DS16,2000,22.5,4.5,"));
  EXPECT_THAT(shown.out, Not(HasSubstr("\r\n\r\n")));
  EXPECT_EQ(run("show " + file() + " --kind beams").exit_code, 2);
  EXPECT_EQ(run("show " + file() + " --format yaml").exit_code, 2);
}

TEST_F(TableCommands, ShowOfAProjectWithoutRevisionsSaysSo) {
  std::filesystem::copy_file(file(), file("empty.db"));
  ASSERT_EQ(run("delete " + file("empty.db") + " --sheet 417").exit_code, 0);
  EXPECT_EQ(run("show " + file("empty.db")).out, "No revisions\n");
  EXPECT_EQ(run("show " + file("empty.db") + " --format json").out, "{}\n");
  EXPECT_EQ(run("list " + file("empty.db")).out, "Revisions: none\n");
  EXPECT_EQ(run("list " + file("empty.db") + " --format csv").exit_code, 0);
}

TEST_F(TableCommands, WideTablesHaveEachRowOnOneLine) {
  const Outcome shown = run("show " + file() + " --mark 10.1 --wide", "COLUMNS=20");
  EXPECT_THAT(shown.out, HasSubstr("\n10.1       1        12     700  400 (90°) 300  B500A    0.52"
                                   "        48  stagger_group: 10\n"));
}

TEST_F(TableCommands, WithoutATerminalThereAreNoColours) {
  EXPECT_THAT(run("show " + file()).out, Not(HasSubstr("\x1b")));
}

TEST_F(TableCommands, CompareEndsAsDiff) {
  import(KORVANE_EXAMPLES "/guideline.abs", "same.db");
  const Outcome same = run("compare " + file() + " " + file("same.db"));
  EXPECT_EQ(same.exit_code, 0) << same.out;
  EXPECT_THAT(same.out, IsEmpty());
  import(changed_guideline("@n3@", "@n4@"), "other.db");
  EXPECT_EQ(run("compare " + file() + " " + file("other.db")).exit_code, 0);
  import(changed_guideline("@p10.1@l700@n1@", "@p10.1@l700@n3@"), "b.db");
  EXPECT_EQ(run("compare " + file() + " " + file("b.db")).exit_code, 1);
  const Outcome quiet = run("compare --quiet " + file() + " " + file("b.db"));
  EXPECT_EQ(quiet.exit_code, 1);
  EXPECT_THAT(quiet.out, IsEmpty());
  const Outcome missing = run("compare " + file() + " " + file("missing.db"));
  EXPECT_EQ(missing.exit_code, 2);
  EXPECT_EQ(missing.err, "korvane: no project " + file("missing.db") + "\n");
  const Outcome unknown = run("compare " + file() + " a z");
  EXPECT_EQ(unknown.exit_code, 2);
  EXPECT_EQ(unknown.err, "korvane: no sheet has revisions \"a\" and \"z\"\n");
  EXPECT_EQ(run("compare " + file()).exit_code, 2);
  const Outcome full =
      test::run_program(folder_, "compare " + file() + " " + file("b.db"), "", "/dev/full");
  EXPECT_EQ(full.exit_code, 2);
  EXPECT_EQ(full.err, "korvane: cannot write to the standard output\n");
}

TEST_F(TableCommands, CompareNamesWhatHasChangedBetweenRevisions) {
  import(changed_guideline("@p10.1@l700@n1@", "@p10.1@l700@n3@"), "a.db", " --revision b");
  const Outcome compared = run("compare " + file() + " a b --format json");
  EXPECT_EQ(compared.exit_code, 1);
  const json report = json::parse(compared.out);
  std::vector<std::string> fields;
  for (const json& row : report["changes"]) {
    if (row["kind"] != "bars") continue;
    EXPECT_EQ(row["mark"], "10.1");
    EXPECT_EQ(row["revision_before"], "a");
    fields.push_back(row["field"]);
  }
  EXPECT_THAT(fields, testing::ElementsAre("bars_per_member", "total_bars", "total_length"));
  ASSERT_EQ(report["bar_differences"].size(), 1U);
  EXPECT_EQ(report["bar_differences"][0]["pieces_difference"], 2);
  EXPECT_NEAR(report["bar_differences"][0]["mass_difference"].get<double>(), 2 * 0.522, 1e-9);
}

TEST_F(TableCommands, TheExamplesOfTheHelpRun) {
  import(KORVANE_EXAMPLES "/guideline.abs", "guideline.db");
  import(KORVANE_EXAMPLES "/guideline.abs", "guideline.db", " --revision b");
  import(KORVANE_EXAMPLES "/shapes.abs", "before.db");
  import(KORVANE_EXAMPLES "/shapes.abs", "after.db");
  std::size_t count = 0;
  for (const std::string subcommand : {"list", "show", "compare"}) {
    std::istringstream help(run(subcommand + " --help").out);
    for (std::string line; std::getline(help, line);) {
      if (!line.starts_with("  korvane ")) continue;
      // As typed in the folder of the projects.
      const std::string command = "cd " + folder_.path().string() + " && " + KORVANE_PROGRAM +
                                  line.substr(9) +
                                  (line.find('>') == std::string::npos ? " >out" : "");
      const int status = WEXITSTATUS(std::system(command.c_str()));
      EXPECT_TRUE(status == 0 || (subcommand == "compare" && status == 1)) << line;
      ++count;
    }
  }
  EXPECT_EQ(count, 9U);
}

}  // namespace
}  // namespace korvane
