// The command that checks and repairs, as a person runs it.

#include <filesystem>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/plain_sqlite.h"
#include "tests/support/records.h"
#include "tests/support/temporary_folder.h"
#include "tests/tools/korvane/program.h"

namespace korvane {
namespace {

using nlohmann::json;
using test::Outcome;
using test::plain_rows;
using test::PlainConnection;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class CheckCommand : public testing::Test {
 protected:
  CheckCommand() {
    EXPECT_EQ(run("import " KORVANE_EXAMPLES "/guideline.abs --project " + file()).exit_code, 0);
  }

  Outcome run(const std::string& arguments) {
    return test::run_program(folder_, arguments, "COLUMNS=80");
  }
  Outcome check(const std::string& more = "") { return run("check " + file() + " " + more); }
  json checked(const std::string& more = "") {
    return json::parse(check("--format json " + more).out);
  }
  std::string file() const { return folder_.file("a.db"); }
  void change(const std::string& sql) const {
    PlainConnection(file(), PlainConnection::Mode::kWrite).run(sql);
  }
  /// Has the revision bear the mark of a change that somebody did not finish.
  void leave_change(const std::string& text, std::int32_t changed) const {
    model::cad::Revision revision;
    revision.properties["korvane.change"].value_int32.set(changed);
    revision.properties["korvane.change"].value_string.set(text);
    change("insert into revision (uid, sheet_id, raw) select 'left', sheet_id, x'" +
           test::raw_hex(revision) + "' from revision where id = " + std::to_string(changed));
  }

  test::TemporaryFolder folder_;
};

TEST_F(CheckCommand, SaysThatAFileIsSound) {
  const Outcome outcome = check();
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("sound"));
  EXPECT_EQ(outcome.err, "");
}

TEST_F(CheckCommand, FindsNothingInWhatTheExamplesBecome) {
  for (const auto& entry : std::filesystem::directory_iterator(KORVANE_EXAMPLES)) {
    if (entry.path().extension() != ".abs") continue;
    const std::string project = folder_.file(entry.path().stem().string() + ".db");
    const std::string skip = entry.path().stem() == "bad-checksum" ? " --skip-faulty" : "";
    run("import " + entry.path().string() + " --project " + project + skip);
    if (!std::filesystem::exists(project)) continue;
    EXPECT_EQ(run("check " + project).exit_code, 0) << entry.path();
  }
}

TEST_F(CheckCommand, TellsEachFindingAndFailsWithThem) {
  change("update rebar set total_bars = 77 where id = 3");
  const Outcome outcome = check();
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.out, HasSubstr("rebar 3: total_bars is 77, raw says "));
  const json found = checked();
  EXPECT_EQ(found["files"][0]["verdict"], "faulty");
  EXPECT_EQ(found["files"][0]["findings"], 1);
  EXPECT_EQ(found["files"][0]["application_id"], "none");
  const json& finding = found["findings"][0];
  EXPECT_EQ(finding["file"], file());
  EXPECT_EQ(finding["severity"], "finding");
  EXPECT_EQ(finding["kind"], "column");
  EXPECT_EQ(finding["table"], "rebar");
  EXPECT_EQ(finding["row"], 3);
  EXPECT_EQ(finding["column"], "total_bars");
  EXPECT_EQ(finding["found"], "77");
}

TEST_F(CheckCommand, LooksAtSeveralFilesAndMakesNone) {
  const Outcome outcome =
      run("check " + file() + " " + folder_.file("none.db") + " --format ndjson");
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.out, HasSubstr("cannot be opened: No such file or directory"));
  EXPECT_THAT(outcome.out, HasSubstr("\"verdict\":\"sound\""));
  EXPECT_THAT(outcome.out, HasSubstr("\"verdict\":\"damaged\""));
  EXPECT_FALSE(std::filesystem::exists(folder_.file("none.db")));
}

TEST_F(CheckCommand, NamesSheetsAndRevisionsOfOneName) {
  change(
      "insert into sheet (uid, raw) select 'second', raw from sheet;"
      "insert into revision (uid, sheet_id, raw) select 'third', sheet_id, raw from revision "
      "where id = 1");
  const Outcome outcome = check("--wide");
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.out, HasSubstr("the sheets 2, 3 are all named \"417\""));
  EXPECT_THAT(outcome.out, HasSubstr("the revisions 1, 3 of sheet 2 are all named \"a\""));
}

TEST_F(CheckCommand, RepairsAndTellsOfIt) {
  change("update rebar set total_bars = 77 where id = 3");
  const Outcome outcome = check("--repair");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("rebar 3: total_bars is now "));
  EXPECT_EQ(outcome.err, file() + ": a repair changes the file; keep a copy (korvane backup)\n");
  EXPECT_EQ(check().exit_code, 0);
}

TEST_F(CheckCommand, EndsWithThreeWhereSomethingIsLeft) {
  change("update rebar set total_bars = 77 where id = 3; update fabric set raw = null");
  const Outcome outcome = check("--repair --format json");
  EXPECT_EQ(outcome.exit_code, 3);
  const json found = json::parse(outcome.out);
  EXPECT_EQ(found["repairs"].size(), 1U);
  EXPECT_EQ(found["repairs"][0]["outcome"], "done");
  EXPECT_EQ(found["repairs"][0]["before"], "77");
  EXPECT_EQ(found["files"][0]["damage"], 3);
}

TEST_F(CheckCommand, FinishesWhatAChangeHasLeft) {
  leave_change("filling elsewhere:1:1 0", 1);
  EXPECT_THAT(check("--wide").out,
              HasSubstr("revision 3: a change of revision 1 was broken off: new lines were being "
                        "stored; it still has the old ones"));
  EXPECT_EQ(check().exit_code, 1);
  const Outcome outcome = check("--repair --wide");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("; now finished or taken back"));
  EXPECT_EQ(plain_rows(file(), "select count(*) from revision"), (test::Rows{{"2"}}));
}

TEST_F(CheckCommand, FinishesNoChangeWhereATriggerWouldRun) {
  leave_change("filling", 1);
  change("create trigger t after delete on revision begin delete from fabric; end");
  const auto before = plain_rows(file(), "select id from fabric");
  const Outcome outcome = check("--repair");
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.out, HasSubstr("as it would run the"));
  EXPECT_EQ(plain_rows(file(), "select id from fabric"), before);
}

TEST_F(CheckCommand, RepairsTheOtherFilesWhereOneCannotBeWritten) {
  change("update rebar set total_bars = 77 where id = 3");
  const std::string locked = folder_.file("locked.db");
  std::filesystem::copy(file(), locked);
  // The journal of a write to several databases, which no repair takes in.
  std::ofstream(locked + "-journal") << "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7";
  const Outcome outcome = run("check --repair " + locked + " " + file());
  EXPECT_EQ(outcome.exit_code, 3);
  EXPECT_THAT(outcome.err, HasSubstr("is not a project's: it names another file"));
  EXPECT_EQ(plain_rows(file(), "select count(*) from rebar where total_bars = 77"),
            (test::Rows{{"0"}}));
}

TEST_F(CheckCommand, TakesBackAWriteThatWasBrokenOff) {
  const test::Rows before = plain_rows(file(), "select * from rebar");
  {
    PlainConnection writer(file(), PlainConnection::Mode::kWrite);
    writer.run(
        "pragma cache_size = 1; begin; update rebar set mark = 'x'; "
        "insert into sheet (raw) select randomblob(100000)");
    std::filesystem::copy(file(), folder_.file("b.db"));
    std::filesystem::copy(file() + "-journal", folder_.file("b.db-journal"));
  }
  EXPECT_EQ(run("check " + folder_.file("b.db")).exit_code, 1);
  const Outcome outcome = run("check --wide --repair " + folder_.file("b.db"));
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("the write that was broken off was taken back"));
  EXPECT_EQ(plain_rows(folder_.file("b.db"), "select * from rebar"), before);
}

TEST_F(CheckCommand, KeepsRecordsThatAreTextsInAFileOfUtf16) {
  const std::string wide = folder_.file("wide.db");
  std::ofstream(wide).close();
  PlainConnection writer(wide, PlainConnection::Mode::kWrite);
  writer.run("pragma encoding = 'UTF-16'");
  for (const auto& table : plain_rows(
           file(), "select sql from sqlite_schema where sql <> '' and name not like 'sqlite%'")) {
    writer.run(*table[0]);
  }
  for (const auto& sheet : plain_rows(file(), "select id, uid, hex(raw) from sheet")) {
    writer.run("insert into sheet (id, uid, raw) values (" + *sheet[0] + ", '" + *sheet[1] +
               "', x'" + *sheet[2] + "')");
  }
  // A text has whole letters of two bytes.
  ASSERT_EQ(plain_rows(wide, "select distinct length(raw) % 2 from sheet"), (test::Rows{{"0"}}));
  const auto before = plain_rows(wide, "select id, hex(raw) from sheet");
  writer.run("update sheet set raw = cast(raw as text)");
  const Outcome outcome = run("check --wide --repair " + wide);
  EXPECT_EQ(outcome.exit_code, 0) << outcome.out << outcome.err;
  EXPECT_EQ(plain_rows(wide, "select id, hex(raw) from sheet"), before);
}

TEST_F(CheckCommand, RemovesOrphansIfItIsAsked) {
  change("pragma foreign_keys = on; delete from revision");
  EXPECT_EQ(check().exit_code, 0);
  EXPECT_EQ(check("--remove-orphans").exit_code, 2);
  EXPECT_THAT(check("--repair --remove-orphans").out, HasSubstr("removed rows of revision"));
  EXPECT_THAT(plain_rows(file(), "select 1 from barspacer"), IsEmpty());
}

TEST_F(CheckCommand, RepairsNothingOfADamagedFile) {
  std::ofstream(file()) << std::string(5000, 'x');
  const Outcome outcome = check("--repair");
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_EQ(outcome.err, file() + ": nothing is repaired: restore a backup\n");
}

TEST_F(CheckCommand, CompactSaysWhatItGaveBackAndWhatItCouldNot) {
  change(
      "create table filler (a); insert into filler select randomblob(1000000); "
      "drop table filler");
  const Outcome outcome =
      run("compact " + file() + " " + folder_.file("none.db") + " --format json");
  EXPECT_EQ(outcome.exit_code, 3);
  EXPECT_EQ(outcome.err, "korvane: no project " + folder_.file("none.db") + "\n");
  const json rows = json::parse(outcome.out);
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_GT(rows[0]["bytes_before"], 1'000'000);
  EXPECT_LT(rows[0]["bytes_after"], 200'000);
  EXPECT_EQ(checked()["files"][0]["application_id"], "KRVN");
  EXPECT_EQ(run("compact " + folder_.file("none.db")).exit_code, 1);
}

}  // namespace
}  // namespace korvane
