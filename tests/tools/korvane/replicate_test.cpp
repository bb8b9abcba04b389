// Standing copies of all projects of a folder: by rounds, and as a person runs them.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <Poco/Process.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "clients/cpp/connection.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/text_of.h"
#include "tests/tools/korvane/program.h"
#include "tests/tools/korvane/served_folder.h"
#include "tools/korvane/copy_folder.h"
#include "tools/korvane/copy_server.h"
#include "tools/korvane/replication.h"

namespace korvane::tools {
namespace {

namespace fs = std::filesystem;
using test::Outcome;
using test::plain_rows;
using test::PlainConnection;
using test::Rows;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Copies in a folder, and those that a server keeps in its own.
enum class Kept { inFolder, byServer };

class Replications : public testing::TestWithParam<Kept> {
 protected:
  Replications() {
    fs::create_directory(from());
    if (is_by_server()) {
      server_.emplace("--accept-copies");
      to_ = fs::path(server_->file("x")).parent_path().string();
    } else {
      fs::create_directory(to_);
    }
    EXPECT_EQ(run("import " KORVANE_EXAMPLES "/guideline.abs --project " + folder_.file("one.db"))
                  .exit_code,
              0);
  }

  std::string from() const { return folder_.file("from"); }
  /// The folder where the copies lie, and how it is named to the program.
  std::string to() const { return to_; }
  std::string place() const { return is_by_server() ? server_->url() : to_; }
  static bool is_by_server() { return GetParam() == Kept::byServer; }
  std::unique_ptr<CopyPlace> copy_place() const {
    if (is_by_server()) return std::make_unique<CopyServer>(server_->url(), "", "");
    return std::make_unique<CopyFolder>(from(), to_);
  }
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
    how.wait = std::chrono::milliseconds(20);
    how.tell = [this](const std::string& line) { told_.push_back(line); };
    return how;
  }
  Outcome run(const std::string& arguments) { return test::run_program(folder_, arguments); }
  Outcome replicate(const std::string& more = "") {
    return run("replicate --once --from " + from() + " --to " + place() + " " + more);
  }

  test::TemporaryFolder folder_;
  std::optional<test::ServedFolder> server_;
  std::string to_ = folder_.file("to");
  std::vector<std::string> told_;
};

class ReplicationsInAFolder : public Replications {};

class ReplicationsByAServer : public Replications {
 protected:
  /// Of the metrics of the server, the value of one.
  std::string metric(const std::string& name) {
    std::istringstream text(
        client::Connection(server_->url(), {})
            .send({.method = "GET", .path = "/metrics", .repeating = client::Repeating::freely}));
    for (std::string line; std::getline(text, line);) {
      if (line.starts_with(name + "{")) return line.substr(line.rfind(' ') + 1);
    }
    return "none";
  }
  /// What the server's log has of bytes that were sent to it.
  std::uint64_t sent_bytes() const {
    std::istringstream log(server_->log());
    std::uint64_t sum = 0;
    for (std::string line; std::getline(log, line);) {
      const auto entry = nlohmann::json::parse(line);
      sum += entry.value("request_bytes", std::uint64_t{0});
    }
    return sum;
  }
};

TEST_P(Replications, CopyEveryProjectWhateverItsName) {
  const std::vector<std::string> names = {"a.db",
                                          "halls/north 7.db",
                                          "halls/deep/Gebäude %2F?#.db",
                                          "of file:x",
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

TEST_P(Replications, LeaveOutWhatIsNotAProject) {
  make("a.db");
  std::ofstream(from() + "/notes.txt") << "SQLite format 3 is what I need";
  std::ofstream(from() + "/empty.db").close();
  fs::create_symlink(from() + "/a.db", from() + "/link.db");
  ASSERT_EQ(::mkfifo((from() + "/pipe.db").c_str(), 0600), 0);
  std::ofstream(from() + "/other.db").close();
  PlainConnection(from() + "/other.db", PlainConnection::Mode::kWrite).run("create table t (a)");
  Replication replication(options(), copy_place());
  replication.run_round();
  replication.run_round();
  EXPECT_EQ(replication.report().counts.current, 1U);
  EXPECT_TRUE(replication.is_whole());
  EXPECT_THAT(told_, ElementsAre(HasSubstr("not copied: \"" + from() +
                                           "/other.db\" is not a korvane project")));
  EXPECT_FALSE(fs::exists(to() + "/other.db"));
  EXPECT_FALSE(fs::exists(to() + "/link.db"));
}

TEST_P(Replications, OfOneThatFailsHoldUpNoOtherAndAreTriedAgain) {
  for (const char* const name : {"a.db", "b.db", "c.db"}) make(name);
  fs::create_directory(to() + "/b.db");
  Replication replication(options(), copy_place());
  replication.run_round();
  EXPECT_EQ(replication.report().counts.current, 2U);
  EXPECT_EQ(replication.report().counts.failing, 1U);
  EXPECT_FALSE(replication.is_whole());
  EXPECT_GT(replication.report().lag.count(), 0);
  replication.run_round();
  EXPECT_THAT(told_, ElementsAre(AllOf(HasSubstr("b.db is not copied: "), HasSubstr("a file"))));
  fs::remove(to() + "/b.db");
  for (int i = 0; i < 100 && !replication.is_whole(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    replication.run_round();
  }
  EXPECT_EQ(replication.report().counts.current, 3U);
  EXPECT_EQ(replication.report().lag.count(), 0);
  EXPECT_EQ(told_.back(), "b.db is copied again");
}

TEST_P(Replications, OfAProjectThatIsNoneAnyMoreFailAndSayWhy) {
  make("a.db");
  Replication replication(options(), copy_place());
  replication.run_round();
  std::fstream(from() + "/a.db", std::ios::in | std::ios::out | std::ios::binary) << "no database";
  replication.run_round();
  EXPECT_FALSE(replication.is_whole());
  EXPECT_GT(replication.report().lag.count(), 0);
  EXPECT_THAT(told_, ElementsAre(HasSubstr("does not begin as a database does")));
  EXPECT_EQ(copied("a.db"), comment_in(folder_.file("one.db")));
  fs::copy(folder_.file("one.db"), from() + "/a.db", fs::copy_options::overwrite_existing);
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!replication.is_whole() && std::chrono::steady_clock::now() < end) replication.run_round();
  EXPECT_TRUE(replication.is_whole());
}

TEST_P(ReplicationsInAFolder, DoNotWaitForAPipeInThePlaceOfACopyOrOfItsNote) {
  make("a.db");
  make("b.db");
  ASSERT_EQ(::mkfifo((to() + "/a.db").c_str(), 0600), 0);
  ASSERT_EQ(::mkfifo((to() + "/.b.db.copy").c_str(), 0600), 0);
  Replication replication(options(), copy_place());
  replication.run_round();
  EXPECT_THAT(told_, testing::Contains(HasSubstr("is not a file")));
  EXPECT_FALSE(replication.is_whole());
}

TEST_P(ReplicationsInAFolder, OfAFolderThatIsLinkedBackFail) {
  make("sub/a.db");
  fs::create_directory_symlink(from() + "/sub", to() + "/sub");
  Replication replication(options(), copy_place());
  replication.run_round();
  EXPECT_FALSE(replication.is_whole());
  EXPECT_THAT(told_, ElementsAre(HasSubstr("is the project itself")));
  EXPECT_FALSE(fs::exists(from() + "/sub/.a.db.copy"));
}

TEST_P(Replications, OfALockedProjectWaitShortly) {
  for (const char* const name : {"a.db", "b.db"}) make(name);
  PlainConnection other(from() + "/a.db", PlainConnection::Mode::kWrite);
  other.run("begin exclusive");
  Replication replication(options(), copy_place());
  const auto begin = std::chrono::steady_clock::now();
  replication.run_round();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
  EXPECT_EQ(copied("b.db"), comment_in(from() + "/b.db"));
  EXPECT_THAT(told_, ElementsAre(HasSubstr("database is locked")));
}

TEST_P(Replications, KeepTheCopyOfAProjectThatIsGone) {
  for (const char* const name : {"a.db", "b.db"}) make(name);
  Replication replication(options(), copy_place());
  replication.run_round();
  fs::remove(from() + "/a.db");
  replication.run_round();
  replication.run_round();
  EXPECT_TRUE(fs::exists(to() + "/a.db"));
  EXPECT_EQ(replication.report().counts.without_project, 1U);
  EXPECT_TRUE(replication.is_whole());
  EXPECT_EQ(replication.report().lag.count(), 0);
  EXPECT_THAT(told_, ElementsAre("a.db is gone; its copy is kept"));
  make("a.db");
  write_to(from() + "/a.db", "again");
  replication.run_round();
  EXPECT_EQ(copied("a.db"), "again");
  EXPECT_EQ(replication.report().counts.without_project, 0U);
}

TEST_P(Replications, RemoveItWhereTheyAreTold) {
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

TEST_P(Replications, RemoveNothingWhereTheDiskOfTheProjectsIsNotThere) {
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

TEST_P(Replications, LeaveACopyThatSomebodyHasWrittenToAndSaySo) {
  for (const char* const name : {"a.db", "b.db"}) make(name);
  Replication replication(options(), copy_place());
  replication.run_round();
  write_to(to() + "/a.db", "theirs");
  // In a folder also where the project has not changed: the server of the copies may be in use.
  if (is_by_server()) write_to(from() + "/a.db", "ours");
  do {
    replication.run_round();
  } while (replication.report().counts.behind > 0);
  EXPECT_EQ(replication.report().counts.written_elsewhere, 1U);
  EXPECT_EQ(copied("a.db"), "theirs");
  EXPECT_THAT(metrics_text("to", {{"there", replication.report()}}),
              HasSubstr("korvane_copies{state=\"written_elsewhere\",to=\"there\"} 1\n"));
  Replication other(options(), copy_place());
  other.run_round();
  EXPECT_EQ(other.report().counts.written_elsewhere, 1U);
  EXPECT_EQ(copied("a.db"), "theirs");
}

TEST_P(Replications, GoBackAndForthWithoutCopyingAnew) {
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

TEST_P(Replications, OfAProjectThatIsNeverQuietComeInTime) {
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
  Replication replication(how, copy_place());
  std::chrono::nanoseconds longest{0};
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
  while (std::chrono::steady_clock::now() < end) {
    replication.run_round();
    longest = std::max(longest, replication.report().lag);
    EXPECT_EQ(plain_rows(to() + "/a.db", "select count(distinct comment) from rebar"),
              (Rows{{"1"}}));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  is_ending = true;
  for (std::thread& writer : writers) writer.join();
  EXPECT_GT(replication.report().written, 1U);
  EXPECT_LT(longest, std::chrono::seconds(3));
  EXPECT_THAT(told_, IsEmpty());
}

TEST_P(ReplicationsInAFolder, RefuseFoldersWithinEachOther) {
  fs::create_directory(from() + "/copies");
  EXPECT_EQ(run("replicate --once --from " + from() + " --to " + from() + "/copies").err,
            "korvane: one of the folders \"" + from() + "\" and \"" + from() +
                "/copies\" is in the other\n");
  EXPECT_EQ(run("replicate --once --from " + from() + " --to " + folder_.file("none")).exit_code,
            1);
  EXPECT_EQ(run("replicate --from " + from()).exit_code, 2);
}

TEST_P(Replications, GoOnUntilTheyAreStopped) {
  make("a.db");
  write_to(from() + "/a.db", "first");
  Poco::ProcessHandle process = Poco::Process::launch(
      "/bin/sh", {"-c", std::string("exec ") + KORVANE_PROGRAM + " replicate --from " + from() +
                            " --to " + place() + " --every 0.05 --metrics " +
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
              HasSubstr("korvane_copy_lag_seconds{to=\"" + place() + "\"} "));
}

TEST_P(ReplicationsByAServer, SendOnlyWhatHasChanged) {
  make("a.db");
  PlainConnection project(from() + "/a.db", PlainConnection::Mode::kWrite);
  project.run("update project set raw = randomblob(4000000)");
  ASSERT_EQ(replicate().exit_code, 0);
  const std::uint64_t whole = sent_bytes();
  EXPECT_GT(whole, 4'000'000U);
  project.run("update rebar set comment = 'new'");
  ASSERT_EQ(replicate().exit_code, 0);
  EXPECT_EQ(copied("a.db"), "new");
  EXPECT_LT(sent_bytes() - whole, 1'000'000U);
}

TEST_P(ReplicationsByAServer, AreReadOnThatServerAtOnce) {
  make("a.db");
  write_to(from() + "/a.db", "first");
  ASSERT_EQ(replicate().exit_code, 0);
  const auto served = [&] {
    return run("query a.db \"select distinct comment from rebar\" --format csv --server " + place())
        .out;
  };
  EXPECT_EQ(served(), "comment\r\nfirst\r\n");
  write_to(from() + "/a.db", "second");
  ASSERT_EQ(replicate().exit_code, 0);
  EXPECT_EQ(served(), "comment\r\nsecond\r\n");
}

TEST_P(ReplicationsByAServer, AreToldOfInItsMetrics) {
  make("a.db");
  make("file:b");
  EXPECT_EQ(metric("korvane_copy_lag_seconds"), "none");
  Replication replication(options(), copy_place());
  replication.run_round();
  EXPECT_THAT(told_, ElementsAre(HasSubstr("expected a path, not a URI")));
  EXPECT_GT(std::stod(metric("korvane_copy_lag_seconds")), 0);
  EXPECT_EQ(metric("korvane_copies_written_total"), "1");
  EXPECT_EQ(metric("korvane_copy_failures_total"), "1");
}

TEST_P(ReplicationsByAServer, GoOnWhereOthersBeforeThemHaveStopped) {
  make("a.db");
  ASSERT_EQ(replicate().exit_code, 0);
  const std::string before = test::text_of(to() + "/a.db");
  EXPECT_EQ(replicate().out, "0 copies written; 1 of 1 projects are copied\n");
  EXPECT_EQ(test::text_of(to() + "/a.db"), before);
}

TEST_P(ReplicationsByAServer, EndARoundWhereTheServerIsNotThere) {
  make("a.db");
  Replication replication(options(), copy_place());
  server_->stop();
  EXPECT_THROW(replication.run_round(), PlaceIsGone);
  EXPECT_EQ(replicate().err, "korvane: cannot reach " + place() + ": Connection refused\n");
}

TEST_P(Replications, TellHowLateTheCopiesAreWhileTheirPlaceIsGone) {
  make("a.db");
  const std::string metrics = folder_.file("metrics");
  Replication replication(options(), copy_place());
  replication.run_round();
  EXPECT_EQ(replication.report().lag.count(), 0);
  const auto end_of_round = replication.report().round_end;
  write_to(from() + "/a.db", "later");
  if (is_by_server()) {
    server_->stop();
  } else {
    fs::rename(to(), to() + "-gone");
  }
  EXPECT_THROW(replication.run_round(), PlaceIsGone);
  EXPECT_EQ(replication.report().counts.behind, 1U);
  EXPECT_EQ(replication.report().counts.current, 0U);
  EXPECT_GT(replication.report().lag.count(), 0);
  if (is_by_server()) {
    EXPECT_EQ(replicate("--metrics " + metrics).exit_code, 1);
    EXPECT_THAT(test::text_of(metrics), HasSubstr("korvane_copies{state=\"behind\""));
    return;
  }
  EXPECT_EQ(replication.report().round_end, end_of_round);
  fs::rename(to() + "-gone", to());
  for (int round = 0; round < 1000 && !replication.is_whole(); ++round) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    replication.run_round();
  }
  EXPECT_EQ(replication.report().lag.count(), 0);
  EXPECT_EQ(copied("a.db"), "later");
}

TEST_P(ReplicationsByAServer, LeaveTheCopyBeforeWhenTheirSenderIsKilled) {
  make("a.db");
  PlainConnection(from() + "/a.db", PlainConnection::Mode::kWrite)
      .run("update project set raw = randomblob(60000000)");
  write_to(from() + "/a.db", "first");
  ASSERT_EQ(replicate().exit_code, 0);
  const std::string temporary = folder_.file("temporary");
  fs::create_directory(temporary);
  const std::string part = to() + "/.a.db.part";
  PlainConnection(from() + "/a.db", PlainConnection::Mode::kWrite)
      .run("update project set raw = randomblob(60000000)");
  write_to(from() + "/a.db", "second");
  const Poco::ProcessHandle sender =
      Poco::Process::launch(KORVANE_PROGRAM, {"replicate", "--from", from(), "--to", place()},
                            nullptr, nullptr, nullptr, {{"TMPDIR", temporary}});
  while (!fs::exists(part)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  Poco::Process::kill(sender.id());
  sender.wait();
  EXPECT_EQ(copied("a.db"), "first");
  EXPECT_FALSE(fs::is_empty(temporary));
  // The next one takes over at once, and what the one before has left is gone.
  const Outcome next = test::run_program(
      folder_, "replicate --once --from " + from() + " --to " + place(), "TMPDIR=" + temporary);
  EXPECT_EQ(next.exit_code, 0) << next.err;
  EXPECT_EQ(copied("a.db"), "second");
  EXPECT_FALSE(fs::exists(part));
  EXPECT_TRUE(fs::is_empty(temporary));
}

TEST_P(Replications, OfAProjectWithAWriteAheadLogAreWithoutOne) {
  make("a.db");
  PlainConnection writer(from() + "/a.db", PlainConnection::Mode::kWrite);
  writer.run("pragma journal_mode = wal");
  writer.run("update rebar set comment = 'in the log'");
  ASSERT_TRUE(fs::exists(from() + "/a.db-wal"));
  const Outcome done = replicate();
  EXPECT_EQ(done.exit_code, 0) << done.err;
  EXPECT_EQ(copied("a.db"), "in the log");
  EXPECT_EQ(plain_rows(to() + "/a.db", "pragma journal_mode"), (Rows{{"delete"}}));
}

TEST_P(ReplicationsByAServer, NeedOneThatTakesThem) {
  make("a.db");
  const test::ServedFolder other;
  const Outcome refused = run("replicate --once --from " + from() + " --to " + other.url());
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(refused.err,
            "korvane: " + other.url() +
                ": 404 this server takes no copies: expected one with --accept-copies\n");
}

TEST_P(ReplicationsByAServer, NeedATokenOfTheScopeCopy) {
  make("a.db");
  const std::string tokens = folder_.file("tokens.json");
  const auto token = [&](const std::string& scope) {
    std::string text =
        run("token add --tokens " + tokens + " " + scope + "-client --scope " + scope).out;
    text.pop_back();
    return text;
  };
  const std::string copying = token("copy");
  const std::string writing = token("write");
  const test::ServedFolder other("--accept-copies --tokens " + tokens);
  const std::string command = "replicate --once --from " + from() + " --to " + other.url();
  const Outcome refused = test::run_program(folder_, command, "KORVANE_TOKEN=" + writing);
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_THAT(refused.err, HasSubstr(": 403 "));
  const Outcome done = test::run_program(folder_, command, "KORVANE_TOKEN=" + copying);
  EXPECT_EQ(done.exit_code, 0) << done.err;
  EXPECT_EQ(comment_in(other.file("a.db")), comment_in(from() + "/a.db"));
  EXPECT_THAT(run("list a.db --server " + other.url() + " --token " + copying).err,
              HasSubstr("403"));
}

std::string name_of(const testing::TestParamInfo<Kept>& info) {
  return info.param == Kept::byServer ? "ByAServer" : "InAFolder";
}
INSTANTIATE_TEST_SUITE_P(Kept, Replications, testing::Values(Kept::inFolder, Kept::byServer),
                         name_of);
INSTANTIATE_TEST_SUITE_P(Kept, ReplicationsInAFolder, testing::Values(Kept::inFolder), name_of);
INSTANTIATE_TEST_SUITE_P(Kept, ReplicationsByAServer, testing::Values(Kept::byServer), name_of);

TEST(CopyReports, GoToAServerAndBackAsTheyAre) {
  CopyReport report;
  report.counts = {1, 2, 3, 4, 5};
  report.lag = std::chrono::milliseconds(1500);
  report.written = 6;
  report.written_bytes = 7'000'000'000;
  report.failed = 8;
  report.round_time = std::chrono::microseconds(250);
  report.round_end = std::chrono::system_clock::time_point(std::chrono::seconds(1'700'000'000));
  const std::map<std::string, CopyReport> sent = {{"a \"b\"\n", report}};
  const std::map<std::string, CopyReport> come = {{"a \"b\"\n", report_of(report_text(report))}};
  EXPECT_EQ(metrics_text("from", come), metrics_text("from", sent));
  EXPECT_THAT(metrics_text("from", come),
              AllOf(HasSubstr("korvane_copy_lag_seconds{from=\"a \\\"b\\\"\\n\"} 1.5\n"),
                    HasSubstr("korvane_copies{state=\"failing\",from=\"a \\\"b\\\"\\n\"} 3\n"),
                    HasSubstr("korvane_copied_bytes_total{from=\"a \\\"b\\\"\\n\"} 7000000000\n")));
}

TEST(CopyReports, AreRefusedWithFiguresThatThereCannotBe) {
  for (const char* const value : {"-1", "1e300", "null", "\"1\""}) {
    std::string text = report_text({});
    const std::string name = "\"copies_written_total\":";
    const std::size_t begin = text.find(name) + name.size();
    text.replace(begin, text.find(',', begin) - begin, value);
    EXPECT_ANY_THROW(report_of(text)) << value;
  }
}

}  // namespace
}  // namespace korvane::tools
