#include "sqlite/backup.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqlite/database.h"
#include "sqlite/journal_files.h"
#include "tests/sqlite/damaged_project.h"
#include "tests/support/text_of.h"

namespace korvane::sqlite {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class Copies : public SoundProject {
 protected:
  std::string folder() const { return fs::path(file()).parent_path().string(); }
  std::string copy() const { return folder() + "/copy.db"; }
  std::vector<std::string> names() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder())) {
      names.push_back(entry.path().filename());
    }
    return names;
  }
  static CopyOptions replacing() {
    CopyOptions options;
    options.is_replacing = true;
    return options;
  }
  /// Every row of every table.
  static test::Rows content(const std::string& file) {
    test::Rows content;
    for (const std::string& table : test::kTables) {
      for (const test::Row& row : test::plain_rows(file, "select * from " + table)) {
        content.push_back(row);
      }
    }
    return content;
  }
  template <class Work>
  static std::string failure_of(Work work) {
    try {
      work();
    } catch (const std::exception& failure) {
      return failure.what();
    }
    return "";
  }
};

using Backup = Copies;
using Restore = Copies;

TEST_F(Backup, IsTheProjectAndAllThatIsLeft) {
  fs::permissions(file(), fs::perms(0640));
  const CopyResult result = back_up(file(), copy());
  EXPECT_EQ(result.filename, copy());
  EXPECT_EQ(result.bytes, static_cast<std::int64_t>(fs::file_size(file())));
  EXPECT_THAT(result.findings, IsEmpty());
  EXPECT_EQ(content(copy()), content(file()));
  EXPECT_EQ(fs::status(copy()).permissions(), fs::perms(0640));
  EXPECT_THAT(names(), UnorderedElementsAre("project.db", "copy.db"));
}

TEST_F(Backup, GoesIntoAFolderUnderTheProjectsName) {
  fs::create_directory(folder() + "/kept");
  EXPECT_EQ(back_up(file(), folder() + "/kept").filename, folder() + "/kept/project.db");
  EXPECT_EQ(failure_of([&] { back_up(file(), folder()); }),
            "\"" + file() + "\" is the project itself");
}

TEST_F(Backup, ReplacesNothingUnlessItIsTold) {
  std::ofstream(copy()) << "mine";
  EXPECT_EQ(failure_of([&] { back_up(file(), copy()); }), "\"" + copy() + "\" is there already");
  EXPECT_EQ(test::text_of(copy()), "mine");
  back_up(file(), copy(), replacing());
  EXPECT_EQ(content(copy()), content(file()));
}

TEST_F(Backup, DoesNotReplaceAFileThatComesMeanwhile) {
  CopyOptions options;
  options.progress = [&](std::size_t, std::size_t) { std::ofstream(copy()) << "mine"; };
  // The last pages are told to nobody.
  for (int i = 0; i < 40; ++i) {
    run_plainly("insert into sheet (uid, raw) select 'more ' || " + std::to_string(i) +
                ", zeroblob(100000)");
  }
  EXPECT_EQ(failure_of([&] { back_up(file(), copy(), options); }),
            "\"" + copy() + "\" is there already");
  EXPECT_EQ(test::text_of(copy()), "mine");
  EXPECT_THAT(names(), UnorderedElementsAre("project.db", "copy.db"));
}

TEST_F(Backup, OfWhatIsNotAProjectIsRefused) {
  const std::string other = folder() + "/other.db";
  Database(other, Database::Access::make).run("create table t (a)");
  EXPECT_EQ(failure_of([&] { back_up(other, copy()); }),
            "\"" + other + "\" is not a korvane project: a database without a project's tables");
  EXPECT_EQ(failure_of([&] { back_up(folder() + "/none.db", copy()); }),
            "no project " + folder() + "/none.db");
  EXPECT_EQ(failure_of([&] { back_up(folder(), copy()); }), "\"" + folder() + "\" is not a file");
  EXPECT_THAT(names(), UnorderedElementsAre("project.db", "other.db"));
}

TEST_F(Backup, OfADamagedProjectIsRefusedAndLeavesTheOldOne) {
  back_up(file(), copy());
  const std::string before = test::text_of(copy());
  damage_a_page(file());
  EXPECT_THAT(failure_of([&] { back_up(file(), copy(), replacing()); }),
              HasSubstr("the copy of \"" + file() + "\" has damage: SQLite: "));
  EXPECT_EQ(test::text_of(copy()), before);
}

TEST_F(Backup, TellsWhatWasWrongAlready) {
  run_plainly("update rebar set rev_id = 9");
  const CopyResult result = back_up(file(), copy());
  ASSERT_EQ(result.findings.size(), 1U);
  EXPECT_EQ(result.findings[0].kind, Kind::foreign_key);
  EXPECT_EQ(content(copy()), content(file()));
}

TEST_F(Backup, IsRefusedWhereAnOldJournalWouldBeTakenForIts) {
  std::ofstream(copy() + "-journal") << "x";
  EXPECT_THAT(failure_of([&] { back_up(file(), copy()); }),
              HasSubstr("\"" + copy() + "-journal\" lies beside it"));
}

TEST_F(Backup, OfOneInWriteAheadModeIsOneFileWithAllThatWasWritten) {
  run_plainly("pragma journal_mode = wal");
  test::PlainConnection other(file(), test::PlainConnection::Mode::kWrite);
  other.run("update rebar set comment = 'in the log'");
  back_up(file(), copy());
  EXPECT_EQ(test::plain_rows(copy(), "select comment from rebar"), (test::Rows{{"in the log"}}));
  EXPECT_EQ(test::plain_rows(copy(), "pragma journal_mode"), (test::Rows{{"delete"}}));
  EXPECT_FALSE(fs::exists(copy() + "-wal"));
}

TEST_F(Backup, TakesBackAWriteThatWasBrokenOff) {
  const test::Rows before = content(file());
  {
    test::PlainConnection writer(file(), test::PlainConnection::Mode::kWrite);
    writer.run(
        "pragma cache_size = 1; begin; update rebar set mark = 'x'; "
        "insert into sheet (raw) select randomblob(100000)");
    fs::copy(file(), file() + "2");
    fs::copy(file() + "-journal", file() + "2-journal");
  }
  back_up(file() + "2", copy());
  EXPECT_EQ(content(copy()), before);
}

TEST_F(Backup, WaitsForAWriterAndGivesUp) {
  test::PlainConnection other(file(), test::PlainConnection::Mode::kWrite);
  other.run("begin exclusive");
  CopyOptions options;
  options.wait = std::chrono::milliseconds(1);
  EXPECT_EQ(failure_of([&] { back_up(file(), copy(), options); }),
            "\"" + file() + "\": database is locked");
  EXPECT_THAT(names(), ElementsAre("project.db"));
}

TEST_F(Backup, BeginsAnewWhatAnotherHasLeftAndNotWhatItIsWriting) {
  const std::string part = folder() + "/.copy.db.part";
  std::ofstream(part) << std::string(1 << 20, 'x');
  const int other = ::open(part.c_str(), O_RDWR);
  ASSERT_EQ(::flock(other, LOCK_EX), 0);
  EXPECT_EQ(failure_of([&] { back_up(file(), copy()); }),
            "\"" + copy() + "\" is being written by another program");
  ::close(other);
  back_up(file(), copy());
  EXPECT_EQ(content(copy()), content(file()));
  EXPECT_FALSE(fs::exists(part));
}

TEST_F(Backup, FollowsALinkToWhereTheCopyIsToBe) {
  fs::create_directory(folder() + "/kept");
  std::ofstream(folder() + "/kept/real.db") << "old";
  fs::create_symlink(folder() + "/kept/real.db", copy());
  back_up(file(), copy(), replacing());
  EXPECT_TRUE(fs::is_symlink(copy()));
  EXPECT_EQ(content(folder() + "/kept/real.db"), content(file()));
}

TEST_F(Backup, SaysThatTheFolderCannotBeWritten) {
  EXPECT_EQ(failure_of([&] { back_up(file(), folder() + "/none/copy.db"); }),
            "cannot write \"" + folder() + "/none/copy.db\": No such file or directory");
}

TEST_F(Backup, LeavesNothingBesideAProjectInWriteAheadMode) {
  run_plainly("pragma journal_mode = wal");
  back_up(file(), copy());
  EXPECT_THAT(names(), UnorderedElementsAre("project.db", "copy.db"));
}

TEST_F(Backup, TakesNoPlaceOfAPipeOrOfAJournal) {
  ASSERT_EQ(::mkfifo(copy().c_str(), 0600), 0);
  EXPECT_EQ(failure_of([&] { back_up(file(), copy(), replacing()); }),
            "\"" + copy() + "\" is not a file");
  EXPECT_EQ(failure_of([&] { restore(file(), copy(), replacing()); }),
            "\"" + copy() + "\" is not a file");
  EXPECT_EQ(fs::status(copy()).type(), fs::file_type::fifo);
  for (const char* const suffix : {"-journal", "-wal", "-shm"}) {
    EXPECT_THAT(failure_of([&] { back_up(file(), file() + suffix); }),
                HasSubstr("is a name that SQLite has for files of"));
  }
}

TEST_F(Backup, WritesIntoNoFileThatSomebodyHasPutInItsWay) {
  const std::string part = folder() + "/.copy.db.part";
  std::ofstream(folder() + "/mine") << "mine";
  fs::create_hard_link(folder() + "/mine", part);
  back_up(file(), copy());
  EXPECT_EQ(test::text_of(folder() + "/mine"), "mine");
  EXPECT_EQ(content(copy()), content(file()));
  fs::remove(copy());
  std::ofstream(part) << "another's";
  if (::chown(part.c_str(), 12345, 12345) != 0) GTEST_SKIP() << "only root gives files away";
  back_up(file(), copy());
  struct stat status {};
  ASSERT_EQ(::stat(copy().c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, ::geteuid());
}

TEST_F(Backup, IsNobodyElsesUntilItIsWhole) {
  fs::permissions(file(), fs::perms(0644));
  for (int i = 0; i < 40; ++i) {
    run_plainly("insert into sheet (uid, raw) select 'more ' || " + std::to_string(i) +
                ", zeroblob(100000)");
  }
  const std::string part = folder() + "/.copy.db.part";
  std::vector<fs::perms> seen;
  CopyOptions options;
  options.progress = [&](std::size_t, std::size_t) {
    seen.push_back(fs::status(part).permissions());
  };
  EXPECT_THAT(failure_of([&] { back_up(file(), copy(), options); }), IsEmpty());
  EXPECT_THAT(seen, testing::AllOf(testing::Not(IsEmpty()), testing::Each(fs::perms(0600))));
  EXPECT_EQ(fs::status(copy()).permissions(), fs::perms(0644));
}

TEST_F(Backup, OfAProjectWithAnIndexOfAnotherProgramIsMade) {
  run_plainly("create table theirs (a)");
  Database writer(file(), Database::Access::write);
  sqlite3_create_function_v2(
      writer.handle(), "theirs", 1, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr,
      [](sqlite3_context* context, int, sqlite3_value**) { sqlite3_result_int(context, 1); },
      nullptr, nullptr, nullptr);
  writer.run("create index i on theirs (theirs(a)); create index j on rebar (theirs(mark))");
  EXPECT_THAT(checked(),
              UnorderedElementsAre(
                  "note not_ours: the table theirs is not a project's",
                  "note not_ours: the index i is not a project's",
                  "note not_ours: the index j is not a project's",
                  "finding declaration: the table rebar cannot be checked: unknown function: "
                  "theirs()",
                  "note not_ours: the table theirs cannot be checked: unknown function: "
                  "theirs()"));
  back_up(file(), copy());
  EXPECT_EQ(content(copy()), content(file()));
}

TEST_F(Restore, LeavesAProjectWithoutAWriteAheadLog) {
  back_up(file(), copy());
  Database(copy(), Database::Access::write).run("pragma journal_mode = wal");
  restore(copy(), file(), replacing());
  EXPECT_FALSE(is_write_ahead(file()));
}

TEST_F(Restore, SaysThatPagesOfAnotherSizeDoNotGoIntoAWriteAheadLog) {
  back_up(file(), copy());
  Database(copy(), Database::Access::write).run("pragma page_size = 1024; vacuum");
  restore(copy(), file(), replacing());
  EXPECT_EQ(test::plain_rows(file(), "pragma page_size"), (test::Rows{{"1024"}}));
  run_plainly("pragma page_size = 4096; vacuum; pragma journal_mode = wal");
  EXPECT_THAT(failure_of([&] { restore(copy(), file(), replacing()); }),
              HasSubstr("is in write-ahead mode and has pages of another size than the backup"));
}

TEST_F(Restore, MakesAProjectThatIsNotThere) {
  back_up(file(), copy());
  const test::Rows before = content(file());
  fs::remove(file());
  const CopyResult result = restore(copy(), file());
  EXPECT_FALSE(result.is_replaced);
  EXPECT_EQ(content(file()), before);
}

TEST_F(Restore, ReplacesNoContentUnlessItIsTold) {
  back_up(file(), copy());
  run_plainly("update rebar set comment = 'new'");
  EXPECT_EQ(failure_of([&] { restore(copy(), file()); }), "\"" + file() + "\" is there already");
  EXPECT_EQ(value("select comment from rebar"), "new");
  EXPECT_FALSE(restore(copy(), file(), replacing()).is_replaced);
  EXPECT_EQ(content(file()), content(copy()));
  EXPECT_THAT(check_lines(file()), IsEmpty());
}

TEST_F(Restore, FillsAnEmptyFile) {
  back_up(file(), copy());
  std::ofstream(file(), std::ios::trunc);
  restore(copy(), file());
  EXPECT_EQ(content(file()), content(copy()));
}

TEST_F(Restore, IsSeenByThoseWhoHaveTheProjectOpen) {
  back_up(file(), copy());
  reopen();
  make_sheet("new");
  for (int i = 0; i < 300; ++i) make_sheet();
  restore(copy(), file(), replacing());
  Batch<model::cad::Sheet> sheets;
  project().list_sheets({}, sheets);
  EXPECT_EQ(sheets.items.size(), 1U);
  make_sheet("newer");
  EXPECT_EQ(count("sheet"), 2);
  EXPECT_EQ(fs::file_size(file()), fs::file_size(copy()));
}

TEST_F(Restore, OfADamagedBackupIsRefusedAndChangesNothing) {
  back_up(file(), copy());
  damage_a_page(copy());
  const std::string before = test::text_of(file());
  EXPECT_THAT(failure_of([&] { restore(copy(), file(), replacing()); }),
              HasSubstr("\"" + copy() + "\" has damage: SQLite: "));
  EXPECT_EQ(test::text_of(file()), before);
}

TEST_F(Restore, OfALostRecordIsRefused) {
  back_up(file(), copy());
  test::PlainConnection(copy(), test::PlainConnection::Mode::kWrite)
      .run("update rebar set raw = null");
  EXPECT_EQ(failure_of([&] { restore(copy(), file(), replacing()); }),
            "\"" + copy() + "\" has damage: rebar 1: the record is missing");
}

TEST_F(Restore, ReplacesWhatIsNotADatabaseAnyMore) {
  back_up(file(), copy());
  for (const std::string& damaged :
       {std::string(9000, 'x'), test::text_of(file()).substr(0, 4096 * 3)}) {
    std::ofstream(file()) << damaged;
    EXPECT_TRUE(restore(copy(), file(), replacing()).is_replaced);
    EXPECT_EQ(content(file()), content(copy()));
  }
}

TEST_F(Restore, WritesOverDamagedPages) {
  back_up(file(), copy());
  damage_a_page(file());
  EXPECT_FALSE(restore(copy(), file(), replacing()).is_replaced);
  EXPECT_EQ(content(file()), content(copy()));
}

TEST_F(Restore, WaitsForOthersAndGivesUp) {
  back_up(file(), copy());
  const std::string before = test::text_of(file());
  test::PlainConnection other(file(), test::PlainConnection::Mode::kRead);
  other.run("begin; select count(*) from rebar");
  CopyOptions options = replacing();
  options.wait = std::chrono::milliseconds(1);
  EXPECT_EQ(failure_of([&] { restore(copy(), file(), options); }),
            "\"" + file() + "\": database is locked");
  EXPECT_EQ(test::text_of(file()), before);
}

TEST_F(Restore, RefusesTheBackupItself) {
  EXPECT_EQ(failure_of([&] { restore(file(), file(), replacing()); }),
            "\"" + file() + "\" is the backup itself");
}

}  // namespace
}  // namespace korvane::sqlite
