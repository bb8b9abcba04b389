// A copy that follows its project. What is in it is read with plain SQLite.

#include "sqlite/standing_copy.h"

#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqlite/project_state.h"
#include "sqlite/schema_check.h"
#include "tests/sqlite/damaged_project.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/text_of.h"

namespace korvane::sqlite {
namespace {

namespace fs = std::filesystem;
using test::plain_rows;
using test::PlainConnection;
using test::Rows;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class StandingCopies : public SoundProject {
 protected:
  StandingCopies() { fs::create_directory(folder() + "/copies"); }

  std::string folder() const { return fs::path(file()).parent_path().string(); }
  std::string copy() const { return folder() + "/copies/project.db"; }

  void comment(const std::string& text) {
    PlainConnection(file(), PlainConnection::Mode::kWrite)
        .run("update rebar set comment = '" + text + "'");
  }
  static void write_to(const std::string& name) {
    PlainConnection(name, PlainConnection::Mode::kWrite).run("update rebar set comment = 'theirs'");
  }
  std::string copied() const { return *plain_rows(copy(), "select comment from rebar")[0][0]; }
  std::vector<std::string> beside_copy() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder() + "/copies")) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }
  std::string failure() const {
    try {
      update_copy(file(), copy(), quick());
    } catch (const std::exception& thrown) {
      return thrown.what();
    }
    return "";
  }
  static CopyOptions quick() {
    CopyOptions options;
    options.wait = std::chrono::milliseconds(20);
    return options;
  }
};

TEST_F(StandingCopies, AreMadeWhole) {
  comment("one");
  fs::permissions(file(), fs::perms(0640));
  EXPECT_TRUE(update_copy(file(), copy()).is_written);
  EXPECT_EQ(copied(), "one");
  EXPECT_EQ(plain_rows(copy(), "pragma integrity_check"), (Rows{{"ok"}}));
  EXPECT_EQ(fs::status(copy()).permissions(), fs::perms(0640));
  EXPECT_THAT(beside_copy(), UnorderedElementsAre("project.db", ".project.db.copy"));
}

TEST_F(StandingCopies, CanBeGivenUpWhileTheyAreChecked) {
  comment("one");
  update_copy(file(), copy());
  add_long_table();
  CopyOptions options;
  options.progress = [](std::size_t done, std::size_t all) {
    if (done == all) throw std::out_of_range("enough");
  };
  EXPECT_THROW(update_copy(file(), copy(), options), std::out_of_range);
  EXPECT_THAT(beside_copy(), UnorderedElementsAre("project.db", ".project.db.copy"));
}

TEST_F(StandingCopies, AreSeenToChangeByThoseWhoHaveThemOpen) {
  comment("one");
  update_copy(file(), copy());
  PlainConnection reader(copy(), PlainConnection::Mode::kWrite);
  EXPECT_EQ(reader.rows("select comment from rebar"), (Rows{{"one"}}));
  for (const char* const text : {"two", "three"}) {
    comment(text);
    EXPECT_TRUE(update_copy(file(), copy()).is_written);
    EXPECT_EQ(reader.rows("select comment from rebar"), (Rows{{text}}));
  }
  EXPECT_THAT(beside_copy(), UnorderedElementsAre("project.db", ".project.db.copy"));
}

TEST_F(StandingCopies, AreNotWrittenWhereNothingHasChanged) {
  update_copy(file(), copy());
  const std::string before = test::text_of(copy());
  EXPECT_FALSE(update_copy(file(), copy()).is_written);
  EXPECT_EQ(test::text_of(copy()), before);
}

TEST_F(StandingCopies, ThatSomebodyElseHasWrittenToAreLeft) {
  comment("one");
  update_copy(file(), copy());
  write_to(copy());
  comment("two");
  EXPECT_THAT(failure(), HasSubstr("\"" + copy() + "\" is not as it was copied: another program"));
  EXPECT_EQ(copied(), "theirs");
  fs::rename(copy(), copy() + ".theirs");
  update_copy(file(), copy());
  EXPECT_EQ(copied(), "two");
}

TEST_F(StandingCopies, TakeNoPlaceOfAnotherFile) {
  comment("one");
  back_up(file(), copy());
  comment("two");
  EXPECT_THAT(failure(), HasSubstr("is not as it was copied"));
  EXPECT_EQ(copied(), "one");
  std::ofstream(copy(), std::ios::trunc) << "not a database, and long enough to have a header";
  EXPECT_THAT(failure(), HasSubstr("file is not a database"));
  fs::remove(copy());
  fs::create_directory(copy());
  EXPECT_EQ(failure(), "\"" + copy() + "\" is not a file");
}

TEST_F(StandingCopies, AreNotTakenForAnotherFileWithAHeaderLikeTheirs) {
  comment("one");
  update_copy(file(), copy());
  const std::string whole = test::text_of(copy());
  std::string other = whole;
  other[other.rfind("one")] = 'O';
  // Made beside it, so that it cannot have its number.
  std::ofstream(copy() + "2") << other;
  fs::rename(copy() + "2", copy());
  comment("two");
  EXPECT_THAT(failure(), HasSubstr("is not as it was copied"));
  std::ofstream(copy(), std::ios::trunc) << whole;  // brought back from a backup
  EXPECT_EQ(failure(), "");
  EXPECT_EQ(copied(), "two");
}

TEST_F(StandingCopies, WithoutANoteFollowAgainIfTheySayTheSame) {
  comment("one");
  update_copy(file(), copy());
  fs::remove(folder() + "/copies/.project.db.copy");
  EXPECT_FALSE(update_copy(file(), copy()).is_written);
  comment("two");
  EXPECT_TRUE(update_copy(file(), copy()).is_written);
  fs::remove(folder() + "/copies/.project.db.copy");
  comment("three");
  EXPECT_THAT(failure(), HasSubstr("is not as it was copied"));
}

TEST_F(StandingCopies, KeepTheOldStateWhereTheProjectIsDamaged) {
  comment("one");
  update_copy(file(), copy());
  const std::string before = test::text_of(copy());
  damage_a_page(file());
  EXPECT_THAT(failure(), HasSubstr("has damage: SQLite: "));
  EXPECT_EQ(test::text_of(copy()), before);
  EXPECT_THAT(beside_copy(), UnorderedElementsAre("project.db", ".project.db.copy"));
}

TEST_F(StandingCopies, OfAnotherDatabaseAreNotMade) {
  std::ofstream(folder() + "/other.db").close();
  PlainConnection(folder() + "/other.db", PlainConnection::Mode::kWrite).run("create table t (a)");
  EXPECT_THROW(update_copy(folder() + "/other.db", copy()), NotAProject);
  EXPECT_THAT(beside_copy(), IsEmpty());
}

TEST_F(StandingCopies, WaitForAReaderAndGiveUp) {
  comment("one");
  update_copy(file(), copy());
  comment("two");
  {
    PlainConnection reader(copy(), PlainConnection::Mode::kRead);
    reader.run("begin; select * from rebar");
    EXPECT_EQ(failure(), "\"" + copy() + "\": database is locked");
    EXPECT_EQ(reader.rows("select comment from rebar"), (Rows{{"one"}}));
  }
  EXPECT_EQ(failure(), "");
  EXPECT_EQ(copied(), "two");
}

TEST_F(StandingCopies, AreOldOrNewWhereTheDiskIsFull) {
  comment("one");
  update_copy(file(), copy());
  for (int i = 0; i < 20; ++i) {
    run_plainly("insert into sheet (uid, raw) select 'sheet " + std::to_string(i) +
                "', zeroblob(20000)");
  }
  comment("two");
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &limit), 0);
  const auto whole = static_cast<rlim_t>(fs::file_size(file()));
  const rlim_t standard = limit.rlim_cur;
  for (rlim_t most = 10; most < whole; most += 20'000) {
    limit.rlim_cur = most;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    const std::string text = failure();
    limit.rlim_cur = standard;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    EXPECT_NE(text, "");
    EXPECT_EQ(copied(), "one");
    EXPECT_THAT(beside_copy(), UnorderedElementsAre("project.db", ".project.db.copy"));
  }
  EXPECT_EQ(failure(), "");
  EXPECT_EQ(copied(), "two");
}

TEST_F(StandingCopies, TakeBackAWriteThatWasBrokenOff) {
  comment("one");
  {
    PlainConnection writer(file(), PlainConnection::Mode::kWrite);
    writer.run(
        "pragma cache_size = 1; begin; update rebar set comment = 'half'; "
        "insert into sheet (raw) select randomblob(100000)");
    fs::copy(file(), file() + "2");
    fs::copy(file() + "-journal", file() + "2-journal");
  }
  update_copy(file() + "2", copy());
  EXPECT_EQ(copied(), "one");
}

TEST_F(StandingCopies, OfOneInWriteAheadModeAreOneFileWithAllThatWasWritten) {
  run_plainly("pragma journal_mode = wal");
  PlainConnection other(file(), PlainConnection::Mode::kWrite);
  for (const char* const text : {"one", "two", "three"}) {
    other.run("update rebar set comment = '" + std::string(text) + "'");
    // Written just now: the next look has to be another one.
    EXPECT_EQ(update_copy(file(), copy()).source, "");
    EXPECT_EQ(copied(), text);
  }
  EXPECT_EQ(plain_rows(copy(), "pragma journal_mode"), (Rows{{"delete"}}));
}

TEST_F(StandingCopies, LookOtherAfterEveryCommitWhateverTheTime) {
  const auto time = fs::last_write_time(file());
  std::string before = update_copy(file(), copy()).source;
  EXPECT_EQ(look_of(file()), before);
  for (int i = 0; i < 5; ++i) {
    comment("text " + std::to_string(i % 2));
    fs::last_write_time(file(), time);
    EXPECT_NE(look_of(file()), before);
    before = update_copy(file(), copy()).source;
    EXPECT_EQ(look_of(file()), before);
  }
  EXPECT_EQ(look_of(folder() + "/none.db"), "");
}

TEST_F(StandingCopies, AreRemovedUnlessSomebodyElseHasWrittenToThem) {
  update_copy(file(), copy());
  write_to(copy());
  EXPECT_THROW(remove_copy(copy()), WrittenElsewhere);
  EXPECT_TRUE(fs::exists(copy()));
  fs::remove(copy());
  update_copy(file(), copy());
  remove_copy(copy());
  EXPECT_THAT(beside_copy(), IsEmpty());
}

TEST_F(StandingCopies, UnderFourWritersAreOfOneMomentForEveryReader) {
  run_plainly(
      "create table debit (a integer); create table credit (a integer); "
      "insert into debit values (0); insert into credit values (0)");
  update_copy(file(), copy());
  std::atomic<bool> is_ending = false;
  std::atomic<int> commits = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      PlainConnection writer(file(), PlainConnection::Mode::kWrite);
      writer.run("pragma busy_timeout = 60000; pragma synchronous = off");
      while (!is_ending) {
        writer.run("begin immediate; insert into debit values (" + std::to_string(i) +
                   "); insert into credit values (" + std::to_string(i) + "); commit");
        ++commits;
      }
    });
  }
  std::atomic<int> reads = 0;
  threads.emplace_back([&] {
    PlainConnection reader(copy(), PlainConnection::Mode::kWrite);
    reader.run("pragma busy_timeout = 60000");
    while (!is_ending) {
      const Rows rows = reader.rows(
          "select (select count(*) from debit), (select count(*) from credit), "
          "(select sum(a) from debit) - (select sum(a) from credit)");
      EXPECT_EQ(rows[0][0], rows[0][1]);
      EXPECT_EQ(rows[0][2], "0");
      ++reads;
    }
  });
  int last = 0;
  for (int i = 0; i < 20 && !HasFailure(); ++i) {
    const int before = commits;
    update_copy(file(), copy());
    const int found = std::stoi(*plain_rows(copy(), "select count(*) from debit")[0][0]);
    EXPECT_GE(found, before + 1);
    EXPECT_GE(found, last);
    EXPECT_EQ(plain_rows(copy(), "pragma integrity_check"), (Rows{{"ok"}}));
    last = found;
  }
  is_ending = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_GT(reads, 0);
  EXPECT_GT(last, 1);
}

}  // namespace
}  // namespace korvane::sqlite
