// The commands that copy projects, as a person runs them.

#include <filesystem>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/plain_sqlite.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/text_of.h"
#include "tests/tools/korvane/program.h"

namespace korvane {
namespace {

using test::Outcome;
using test::plain_rows;
using testing::HasSubstr;

class CopyCommands : public testing::Test {
 protected:
  CopyCommands() {
    EXPECT_EQ(run("import " KORVANE_EXAMPLES "/guideline.abs --project " + file()).exit_code, 0);
  }

  Outcome run(const std::string& arguments) {
    return test::run_program(folder_, arguments, "COLUMNS=80");
  }
  std::string file() const { return folder_.file("a.db"); }
  std::string copy() const { return folder_.file("b.db"); }

  test::TemporaryFolder folder_;
};

TEST_F(CopyCommands, BackUpAndRestore) {
  const Outcome backup = run("backup " + file() + " " + copy() + " --format csv");
  EXPECT_EQ(backup.exit_code, 0) << backup.err;
  EXPECT_EQ(backup.out, "file,bytes\r\n" + copy() + "," +
                            std::to_string(std::filesystem::file_size(file())) + "\r\n");
  EXPECT_EQ(backup.err, "");
  EXPECT_EQ(run("delete " + file() + " --sheet 417").exit_code, 0);
  const Outcome refused = run("restore " + copy() + " " + file());
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(refused.err, "korvane: \"" + file() + "\" is there already (--force replaces it)\n");
  EXPECT_EQ(run("restore " + copy() + " " + file() + " --force").exit_code, 0);
  EXPECT_EQ(plain_rows(file(), "select raw from rebar"),
            plain_rows(copy(), "select raw from rebar"));
  EXPECT_EQ(run("check " + file()).exit_code, 0);
}

TEST_F(CopyCommands, ReplaceNothingWithoutForce) {
  std::ofstream(copy()) << "mine";
  const Outcome refused = run("backup " + file() + " " + copy());
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(refused.err, "korvane: \"" + copy() + "\" is there already (--force replaces it)\n");
  EXPECT_EQ(test::text_of(copy()), "mine");
  EXPECT_EQ(run("backup " + file() + " " + copy() + " --force").exit_code, 0);
  EXPECT_EQ(run("check " + copy()).exit_code, 0);
}

TEST_F(CopyCommands, WarnOfWhatWasWrongAlready) {
  test::PlainConnection(file(), test::PlainConnection::Mode::kWrite)
      .run("update rebar set rev_id = 9 where id = 3");
  const Outcome backup = run("backup " + file() + " " + copy());
  EXPECT_EQ(backup.exit_code, 0);
  EXPECT_EQ(backup.err, "warning: rebar 3: rev_id refers to a row of revision that is not there\n");
}

TEST_F(CopyCommands, SayThatAServerMustReloadAFileThatIsNew) {
  run("backup " + file() + " " + copy());
  std::ofstream(file()) << "not a database, and not empty";
  const Outcome restored = run("restore " + copy() + " " + file() + " --force");
  EXPECT_EQ(restored.exit_code, 0);
  EXPECT_EQ(restored.err, file() +
                              ": was not a whole database and is a new file now: reload a server "
                              "that has it open\n");
}

TEST_F(CopyCommands, NameWhatTheyCannotCopy) {
  EXPECT_EQ(run("backup " + folder_.file("none.db") + " " + copy()).err,
            "korvane: no project " + folder_.file("none.db") + "\n");
  EXPECT_EQ(run("restore " + folder_.file("none.db") + " " + file() + " --force").exit_code, 1);
  EXPECT_EQ(run("backup " + file()).exit_code, 2);
  EXPECT_THAT(run("backup --help").out, HasSubstr("korvane backup tower.db /backups/"));
}

}  // namespace
}  // namespace korvane
