// Standing copies of all projects of a folder: by rounds, and as a person runs them.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <Poco/Process.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/plain_sqlite.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/text_of.h"
#include "tests/tools/korvane/program.h"
#include "tools/korvane/replication.h"

namespace korvane::tools {
namespace {

namespace fs = std::filesystem;
using test::Outcome;
using test::plain_rows;
using test::PlainConnection;
using test::Rows;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Replications : public testing::Test {
 protected:
  Replications() {
    fs::create_directory(from());
    fs::create_directory(to());
    EXPECT_EQ(run("import " KORVANE_EXAMPLES "/guideline.abs --project " + folder_.file("one.db"))
                  .exit_code,
              0);
  }

  std::string from() const { return folder_.file("from"); }
  std::string to() const { return folder_.file("to"); }
  void make(const std::string& name) const {
    fs::create_directories(fs::path(from() + "/" + name).parent_path());
    fs::copy(folder_.file("one.db"), from() + "/" + name);
  }
  static void write_to(const std::string& file, const std::string& text) {
    PlainConnection(file, PlainConnection::Mode::kWrite)
        .run("update rebar set comment = '" + text + "'");
  }
  static std::string comment_in(const std::string& file) {
    return plain_rows(file, "select distinct comment from rebar")[0][0].value_or("none");
  }
  std::string copied(const std::string& name) const { return comment_in(to() + "/" + name); }

  ReplicationOptions options() {
    ReplicationOptions how;
    how.from = from();
    how.to = to();
    how.wait = std::chrono::milliseconds(20);
    how.tell = [this](const std::string& line) { told_.push_back(line); };
    return how;
  }
  Outcome run(const std::string& arguments) { return test::run_program(folder_, arguments); }
  Outcome replicate(const std::string& more = "") {
    return run("replicate --once --from " + from() + " --to " + to() + " " + more);
  }

  test::TemporaryFolder folder_;
  std::vector<std::string> told_;
};

TEST_F(Replications, CopyEveryProjectWhateverItsName) {
  const std::vector<std::string> names = {"a.db",
                                          "halls/north 7.db",
                                          "halls/deep/Gebäude %2F?#.db",
                                          "file:x",
                                          "-dash",
                                          ".hidden.db",
                                          "no ending",
                                          "quote\"'.db"};
  for (const std::string& name : names) {
    make(name);
    write_to(from() + "/" + name, "in " + std::to_string(name.size()));
  }
  const Outcome done = replicate();
  EXPECT_EQ(done.exit_code, 0) << done.err;
  EXPECT_EQ(done.out, "8 copies written; 8 of 8 projects are copied\n");
  for (const std::string& name : names) {
    EXPECT_EQ(copied(name), "in " + std::to_string(name.size())) << name;
  }
  EXPECT_EQ(replicate().out, "0 copies written; 8 of 8 projects are copied\n");
  write_to(from() + "/a.db", "new");
  EXPECT_EQ(replicate().out, "1 copies written; 8 of 8 projects are copied\n");
  EXPECT_EQ(copied("a.db"), "new");
}

TEST_F(Replications, LeaveOutWhatIsNotAProject) {
  make("a.db");
  std::ofstream(from() + "/notes.txt") << "SQLite format 3 is what I need";
  std::ofstream(from() + "/empty.db");
  fs::create_symlink(from() + "/a.db", from() + "/link.db");
  ASSERT_EQ(::mkfifo((from() + "/pipe.db").c_str(), 0600), 0);
  std::ofstream(from() + "/other.db").close();
  PlainConnection(from() + "/other.db", PlainConnection::Mode::kWrite).run("create table t (a)");
  Replication replication(options());
  replication.run_round();
  replication.run_round();
  EXPECT_EQ(replication.counts().current, 1U);
  EXPECT_TRUE(replication.is_whole());
  EXPECT_THAT(told_, ElementsAre(HasSubstr("not copied: \"" + from() +
                                           "/other.db\" is not a korvane project")));
  EXPECT_FALSE(fs::exists(to() + "/other.db"));
  EXPECT_FALSE(fs::exists(to() + "/link.db"));
}

TEST_F(Replications, OfOneThatFailsHoldUpNoOtherAndAreTriedAgain) {
  for (const char* const name : {"a.db", "b.db", "c.db"}) make(name);
  fs::create_directory(to() + "/b.db");
  Replication replication(options());
  replication.run_round();
  EXPECT_EQ(replication.counts().current, 2U);
  EXPECT_EQ(replication.counts().failing, 1U);
  EXPECT_FALSE(replication.is_whole());
  EXPECT_GT(replication.lag().count(), 0);
  replication.run_round();
  EXPECT_THAT(told_, ElementsAre("b.db is not copied: \"" + to() + "/b.db\" is not a file"));
  fs::remove(to() + "/b.db");
  for (int i = 0; i < 100 && !replication.is_whole(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    replication.run_round();
  }
  EXPECT_EQ(replication.counts().current, 3U);
  EXPECT_EQ(replication.lag().count(), 0);
  EXPECT_EQ(told_.back(), "b.db is copied again");
}

TEST_F(Replications, OfAProjectThatIsNoneAnyMoreFailAndSayWhy) {
  make("a.db");
  Replication replication(options());
  replication.run_round();
  std::fstream(from() + "/a.db", std::ios::in | std::ios::out | std::ios::binary) << "no database";
  replication.run_round();
  EXPECT_FALSE(replication.is_whole());
  EXPECT_GT(replication.lag().count(), 0);
  EXPECT_THAT(told_, ElementsAre(HasSubstr("does not begin as a database does")));
  EXPECT_EQ(copied("a.db"), comment_in(folder_.file("one.db")));
  fs::copy(folder_.file("one.db"), from() + "/a.db", fs::copy_options::overwrite_existing);
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!replication.is_whole() && std::chrono::steady_clock::now() < end) replication.run_round();
  EXPECT_TRUE(replication.is_whole());
}

TEST_F(Replications, DoNotWaitForAPipeInThePlaceOfACopyOrOfItsNote) {
  make("a.db");
  make("b.db");
  ASSERT_EQ(::mkfifo((to() + "/a.db").c_str(), 0600), 0);
  ASSERT_EQ(::mkfifo((to() + "/.b.db.copy").c_str(), 0600), 0);
  Replication replication(options());
  replication.run_round();
  EXPECT_THAT(told_, testing::Contains(HasSubstr("is not a file")));
  EXPECT_FALSE(replication.is_whole());
}

TEST_F(Replications, OfAFolderThatIsLinkedBackFail) {
  make("sub/a.db");
  fs::create_directory_symlink(from() + "/sub", to() + "/sub");
  Replication replication(options());
  replication.run_round();
  EXPECT_FALSE(replication.is_whole());
  EXPECT_THAT(told_, ElementsAre(HasSubstr("is the project itself")));
  EXPECT_FALSE(fs::exists(from() + "/sub/.a.db.copy"));
}

TEST_F(Replications, OfALockedProjectWaitShortly) {
  for (const char* const name : {"a.db", "b.db"}) make(name);
  PlainConnection other(from() + "/a.db", PlainConnection::Mode::kWrite);
  other.run("begin exclusive");
  Replication replication(options());
  const auto begin = std::chrono::steady_clock::now();
  replication.run_round();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
  EXPECT_EQ(copied("b.db"), comment_in(from() + "/b.db"));
  EXPECT_THAT(told_, ElementsAre(HasSubstr("database is locked")));
}

TEST_F(Replications, KeepTheCopyOfAProjectThatIsGone) {
  for (const char* const name : {"a.db", "b.db"}) make(name);
  Replication replication(options());
  replication.run_round();
  fs::remove(from() + "/a.db");
  replication.run_round();
  replication.run_round();
  EXPECT_TRUE(fs::exists(to() + "/a.db"));
  EXPECT_EQ(replication.counts().without_project, 1U);
  EXPECT_TRUE(replication.is_whole());
  EXPECT_EQ(replication.lag().count(), 0);
  EXPECT_THAT(told_, ElementsAre("a.db is gone; its copy is kept"));
  make("a.db");
  write_to(from() + "/a.db", "again");
  replication.run_round();
  EXPECT_EQ(copied("a.db"), "again");
  EXPECT_EQ(replication.counts().without_project, 0U);
}

TEST_F(Replications, RemoveItWhereTheyAreTold) {
  for (const char* const name : {"a.db", "b.db", "c.db"}) make(name);
  ASSERT_EQ(replicate().exit_code, 0);
  std::ofstream(to() + "/mine.txt") << "mine";
  fs::remove(from() + "/a.db");
  fs::remove(from() + "/b.db");
  write_to(to() + "/b.db", "theirs");
  EXPECT_EQ(replicate("--delete").exit_code, 0);
  EXPECT_FALSE(fs::exists(to() + "/a.db"));
  EXPECT_FALSE(fs::exists(to() + "/.a.db.copy"));
  EXPECT_EQ(copied("b.db"), "theirs");
  EXPECT_TRUE(fs::exists(to() + "/mine.txt"));
}

TEST_F(Replications, RemoveNothingWhereTheDiskOfTheProjectsIsNotThere) {
  make("a.db");
  ASSERT_EQ(replicate().exit_code, 0);
  fs::rename(from(), from() + "-away");
  const Outcome gone = replicate("--delete");
  EXPECT_EQ(gone.exit_code, 1);
  EXPECT_EQ(gone.err, "korvane: \"" + from() + "\" is not a folder\n");
  fs::create_directory(from());
  replicate("--delete");
  EXPECT_TRUE(fs::exists(to() + "/a.db"));
}

TEST_F(Replications, LeaveACopyThatSomebodyHasWrittenToAndSaySo) {
  for (const char* const name : {"a.db", "b.db"}) make(name);
  Replication replication(options());
  replication.run_round();
  write_to(to() + "/a.db", "theirs");
  // Also where the project has not changed: the server of the copies may be in use.
  replication.run_round();
  EXPECT_EQ(replication.counts().written_elsewhere, 1U);
  EXPECT_EQ(copied("a.db"), "theirs");
  EXPECT_THAT(replication.metrics(),
              HasSubstr("korvane_copies{state=\"written_elsewhere\",to=\"" + to() + "\"} 1\n"));
  Replication other(options());
  other.run_round();
  EXPECT_EQ(other.counts().written_elsewhere, 1U);
  EXPECT_EQ(copied("a.db"), "theirs");
}

TEST_F(Replications, GoBackAndForthWithoutCopyingAnew) {
  make("a.db");
  ASSERT_EQ(replicate().exit_code, 0);
  write_to(to() + "/a.db", "while the copies served");
  fs::rename(from(), from() + "-before");
  fs::create_directory(from());
  EXPECT_EQ(run("replicate --once --from " + to() + " --to " + from()).exit_code, 0);
  EXPECT_EQ(comment_in(from() + "/a.db"), "while the copies served");
  // Back again: the copies say the same as the projects and follow them from here on.
  const Outcome back = replicate();
  EXPECT_EQ(back.exit_code, 0) << back.err;
  EXPECT_EQ(back.out, "0 copies written; 1 of 1 projects are copied\n");
  write_to(from() + "/a.db", "after");
  EXPECT_EQ(replicate().exit_code, 0);
  EXPECT_EQ(copied("a.db"), "after");
}

TEST_F(Replications, OfAProjectThatIsNeverQuietComeInTime) {
  make("a.db");
  std::atomic<bool> is_ending = false;
  std::vector<std::thread> writers;
  for (int i = 0; i < 4; ++i) {
    writers.emplace_back([&] {
      PlainConnection writer(from() + "/a.db", PlainConnection::Mode::kWrite);
      writer.run("pragma busy_timeout = 60000; pragma synchronous = off");
      for (int number = 0; !is_ending; ++number) {
        writer.run("update rebar set comment = '" + std::to_string(number) + "'");
      }
    });
  }
  ReplicationOptions how = options();
  how.wait = std::chrono::seconds(5);
  Replication replication(how);
  std::chrono::nanoseconds longest{0};
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
  while (std::chrono::steady_clock::now() < end) {
    replication.run_round();
    longest = std::max(longest, replication.lag());
    EXPECT_EQ(plain_rows(to() + "/a.db", "select count(distinct comment) from rebar"),
              (Rows{{"1"}}));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  is_ending = true;
  for (std::thread& writer : writers) writer.join();
  EXPECT_GT(replication.written(), 1U);
  EXPECT_LT(longest, std::chrono::seconds(3));
  EXPECT_THAT(told_, IsEmpty());
}

TEST_F(Replications, RefuseFoldersWithinEachOther) {
  fs::create_directory(from() + "/copies");
  EXPECT_EQ(run("replicate --once --from " + from() + " --to " + from() + "/copies").err,
            "korvane: one of the folders \"" + from() + "\" and \"" + from() +
                "/copies\" is in the other\n");
  EXPECT_EQ(run("replicate --once --from " + from() + " --to " + folder_.file("none")).exit_code,
            1);
  EXPECT_EQ(run("replicate --from " + from()).exit_code, 2);
}

TEST_F(Replications, GoOnUntilTheyAreStopped) {
  make("a.db");
  write_to(from() + "/a.db", "first");
  Poco::ProcessHandle process = Poco::Process::launch(
      "/bin/sh", {"-c", std::string("exec ") + KORVANE_PROGRAM + " replicate --from " + from() +
                            " --to " + to() + " --every 0.05 --metrics " +
                            folder_.file("copies.prom") + " 2>" + folder_.file("log")});
  const auto comes = [&](const std::string& text) {
    for (int i = 0; i < 400; ++i) {
      if (fs::exists(to() + "/a.db")) {
        PlainConnection reader(to() + "/a.db", PlainConnection::Mode::kWrite);
        reader.run("pragma busy_timeout = 60000");
        if (reader.rows("select distinct comment from rebar") == Rows{{text}}) return true;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
    return false;
  };
  EXPECT_TRUE(comes("first"));
  write_to(from() + "/a.db", "next");
  EXPECT_TRUE(comes("next"));
  Poco::Process::requestTermination(process.id());
  EXPECT_EQ(process.wait(), 0);
  EXPECT_THAT(test::text_of(folder_.file("log")), HasSubstr("\"message\":\"stopping\""));
  EXPECT_THAT(test::text_of(folder_.file("copies.prom")),
              HasSubstr("korvane_copy_lag_seconds{to=\"" + to() + "\"} "));
}

}  // namespace
}  // namespace korvane::tools
