// The commands that correct and remove, as a person runs them.

#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/plain_sqlite.h"
#include "tests/support/temporary_folder.h"
#include "tests/tools/korvane/program.h"
#include "tests/tools/korvane/served_folder.h"

namespace korvane {
namespace {

using test::Outcome;
using test::plain_rows;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class ChangeCommands : public testing::Test {
 protected:
  ChangeCommands() {
    EXPECT_EQ(run("import " KORVANE_EXAMPLES "/guideline.abs --project " + file()).exit_code, 0);
  }

  Outcome run(const std::string& arguments) {
    return test::run_program(folder_, arguments, "COLUMNS=80");
  }
  std::string file() const { return folder_.file("a.db"); }
  test::Rows rows(const std::string& sql) const { return plain_rows(file(), sql); }
  Outcome edit(const std::string& more, const std::string& mark = "10.1") {
    return run("edit " + file() + " --sheet 417 --revision a --mark " + mark + " " + more);
  }

  test::TemporaryFolder folder_;
};

TEST_F(ChangeCommands, EditPrintsEachFieldThatChanges) {
  const Outcome outcome = edit("comment=site total_bars=2");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("comment "));
  EXPECT_THAT(outcome.out, HasSubstr("total_bars "));
  EXPECT_THAT(outcome.out, HasSubstr("total_length "));
  EXPECT_THAT(rows("select comment, total_bars from rebar where comment <> ''"),
              ElementsAre(ElementsAre("site", "2")));
  EXPECT_THAT(rows("select 1 from fabric"), SizeIs(3));
}

TEST_F(ChangeCommands, EditOnTrialStoresNothing) {
  const test::Rows before = rows("select * from rebar");
  EXPECT_THAT(edit("total_bars=2 --dry-run").out, HasSubstr("total_bars"));
  EXPECT_EQ(rows("select * from rebar"), before);
}

TEST_F(ChangeCommands, EditOfNothingSaysSo) {
  const Outcome outcome = edit("total_bars=1");
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_EQ(outcome.err, "nothing changes\n");
}

TEST_F(ChangeCommands, EditNamesWhatItCannotFindOrTake) {
  EXPECT_THAT(edit("total_bars=2", "99").err, HasSubstr("no bar \"99\" in sheet \"417\""));
  EXPECT_THAT(edit("total_bars=many").err, HasSubstr("total_bars: expected"));
  EXPECT_THAT(edit("steel=S1").err, HasSubstr("no material \"S1\""));
  EXPECT_EQ(edit("total_bars").exit_code, 1);
  EXPECT_EQ(run("edit " + folder_.file("none.db") + " --sheet 1 --revision a --mark 1 comment=x")
                .exit_code,
            1);
  EXPECT_FALSE(std::filesystem::exists(folder_.file("none.db")));
}

TEST_F(ChangeCommands, DeleteOfARevisionLeavesTheOthersAndTheSheet) {
  EXPECT_EQ(run("delete " + file() + " --sheet 417 --revision a").exit_code, 0);
  EXPECT_THAT(rows("select 1 from rebar"), IsEmpty());
  EXPECT_THAT(rows("select 1 from revision"), SizeIs(1));
  EXPECT_THAT(rows("select 1 from barspacer"), SizeIs(2));
}

TEST_F(ChangeCommands, DeleteOfASheetTakesItsBarSpacersToo) {
  const Outcome outcome = run("delete " + file() + " --sheet 417");
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_THAT(outcome.err, HasSubstr("deleted sheet \"417\""));
  for (const std::string table : {"sheet", "revision", "rebar", "fabric", "barspacer"}) {
    EXPECT_THAT(rows("select 1 from " + table), IsEmpty()) << table;
  }
}

TEST_F(ChangeCommands, DeleteNamesASheetThatIsNotThere) {
  const Outcome outcome = run("delete " + file() + " --sheet 418");
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_EQ(outcome.err, "korvane: no sheet \"418\" in this project\n");
}

TEST_F(ChangeCommands, WorkOnAServerToo) {
  test::ServedFolder server;
  const auto remote = [&](const std::string& arguments) {
    return run(arguments + " --server " + server.url());
  };
  ASSERT_EQ(remote("import " KORVANE_EXAMPLES "/guideline.abs --project p.db").exit_code, 0);
  const Outcome edited =
      remote("edit p.db --sheet 417 --revision a --mark 10.1 comment=site total_bars=2");
  EXPECT_EQ(edited.exit_code, 0) << edited.err;
  EXPECT_EQ(remote("delete p.db --sheet 417 --revision \"\"").exit_code, 0);
  EXPECT_THAT(
      plain_rows(server.file("p.db"), "select total_bars from rebar where comment = 'site'"),
      ElementsAre(ElementsAre("2")));
  EXPECT_THAT(plain_rows(server.file("p.db"), "select 1 from barspacer"), IsEmpty());
}

}  // namespace
}  // namespace korvane
