// Whether a folder that several servers share keeps them out of each other's way: on a file system
// that does, and on some that do not.

#include "tools/korvane/check_locks.h"

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "sqlite/lock_check.h"
#include "sqlite/lock_probe.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/text_of.h"
#include "tests/tools/korvane/program.h"
#include "tests/tools/korvane/served_folder.h"
#include "tools/korvane/shared_mounts.h"

namespace korvane::tools {
namespace {

using nlohmann::json;
using test::Outcome;
using test::run_program;
using test::ServedFolder;
using test::TemporaryFolder;
using test::text_of;

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

using Names = std::set<std::string>;

Names all_rules() {
  Names names;
  for (const sqlite::LockRule& rule : sqlite::lock_rules()) names.emplace(rule.name);
  return names;
}

/// The environment of a program whose file system has that fault; empty for none.
std::string broken(const std::string& fault) {
  return std::string("LD_PRELOAD=") + KORVANE_BROKEN_LOCKS + " KORVANE_BROKEN_LOCKS=" + fault;
}

Names names_of(const Outcome& outcome, const std::string& verdict) {
  Names names;
  for (const json& line : json::parse(outcome.out)) {
    if (line.at("verdict") == verdict) names.insert(line.at("check"));
  }
  return names;
}

class CheckLocks : public testing::Test {
 protected:
  void SetUp() override {
    if (KORVANE_IS_INSTRUMENTED != 0) GTEST_SKIP() << "a sanitizer must be loaded before all else";
  }

  Outcome check(const std::string& fault, const std::string& options = "") {
    return run_program(output_, "check --quiet --format json --locks " + root() + " " + options,
                       broken(fault));
  }
  /// The rules that do not hold where the file system has that fault.
  Names failures(const std::string& fault) {
    const Outcome outcome = check(fault);
    EXPECT_EQ(outcome.exit_code, 1) << outcome.out << outcome.err;
    EXPECT_TRUE(std::filesystem::is_empty(root()));
    return names_of(outcome, "fails");
  }
  std::string root() const { return root_.path().string(); }

  TemporaryFolder root_;
  TemporaryFolder output_;
};

TEST_F(CheckLocks, OfAFolderOfThisMachine_HoldAndLeaveNothing) {
  const Outcome outcome = check("");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_EQ(names_of(outcome, "holds"), all_rules()) << outcome.out;
  EXPECT_TRUE(std::filesystem::is_empty(root()));
}

TEST_F(CheckLocks, ThatAreAlwaysGranted_AreFound) {
  EXPECT_THAT(failures("granted"),
              IsSupersetOf({"writer_keeps_writers_out", "exclusive_keeps_readers_out",
                            "reader_holds_up_commit"}));
}

TEST_F(CheckLocks, ThatAreAlwaysGranted_LoseAdditionsSoonerOrLater) {
  // Where one process has done all of its own before the other begins, none is lost.
  constexpr int kMostRounds = 50;
  int round = 0;
  while (round < kMostRounds && failures("granted").count("no_count_is_lost") == 0) ++round;
  EXPECT_LT(round, kMostRounds);
}

TEST_F(CheckLocks, ThatAreNotKeptForReaders_AreFound) {
  EXPECT_THAT(failures("readers_only"), Contains("reader_holds_up_commit"));
}

TEST_F(CheckLocks, ThatAreNotGivenBack_AreFound) {
  EXPECT_THAT(failures("kept"), Contains("released_lock_is_free"));
}

TEST_F(CheckLocks, ReadsOfAnOldState_AreFound) {
  EXPECT_THAT(failures("stale_reads"),
              IsSupersetOf({"commit_is_read_anew", "commit_is_read_by_open_connection"}));
}

TEST_F(CheckLocks, OldSizes_AreFound) {
  EXPECT_THAT(failures("stale_size"), Contains("growth_is_seen"));
}

TEST_F(CheckLocks, AJournalThatTheOtherDoesNotSee_IsFound) {
  EXPECT_EQ(failures("hidden_journal"), Names{"broken_write_is_taken_back"});
}

TEST_F(CheckLocks, AFailureSaysWhatHappenedAndWhatItMeans) {
  EXPECT_THAT(check("granted").out,
              AllOf(HasSubstr("both have the lock for writing"),
                    HasSubstr("two servers would write to a project at once and destroy it")));
}

TEST_F(CheckLocks, AndRepairs_AreNotTakenTogether) {
  const Outcome outcome = check("", "--repair");
  EXPECT_EQ(outcome.exit_code, 2);
  EXPECT_THAT(outcome.err, HasSubstr("--repair excludes --locks"));
}

TEST_F(CheckLocks, ServerThatShares_RefusesAFolderWhoseLocksDoNotHold) {
  const Outcome outcome = run_program(
      output_, "serve --shared --listen 127.0.0.1:0 --root " + root(), broken("granted"));
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err, AllOf(HasSubstr("cannot be shared by several servers"),
                                 HasSubstr("writer_keeps_writers_out")));
  EXPECT_TRUE(std::filesystem::is_empty(root()));
}

TEST_F(CheckLocks, ServerThatShares_SaysInItsLogWhatHolds) {
  ServedFolder server("--shared", broken(""));
  EXPECT_THAT(server.log(), AllOf(HasSubstr("--shared: "), HasSubstr("writer_keeps_writers_out"),
                                  HasSubstr("locks_of_killed_are_free")));
}

// ---- with a server

TEST_F(CheckLocks, WithAServerOfTheFolder_HoldAndLeaveNothing) {
  ServedFolder server;
  const Outcome outcome = run_program(
      output_, "check --format json --locks " + server.file("") + " --with " + server.url());
  EXPECT_EQ(outcome.exit_code, 0) << outcome.out << outcome.err;
  EXPECT_EQ(names_of(outcome, "holds"), all_rules()) << outcome.out;
  EXPECT_TRUE(std::filesystem::is_empty(server.file("")));
}

TEST_F(CheckLocks, WithAServer_NeedTheScopeToWrite) {
  const std::string tokens = output_.file("tokens.json");
  const auto token_of = [&](const std::string& scope) {
    const std::string text =
        run_program(output_, "token add --tokens " + tokens + " " + scope + " --scope " + scope)
            .out;
    return text.substr(text.find("krv_"), 47);
  };
  const std::string reader = token_of("read");
  const std::string writer = token_of("write");
  ServedFolder server("--tokens " + tokens);
  const std::string command =
      "check --quiet --format json --locks " + server.file("") + " --with " + server.url();
  EXPECT_THAT(run_program(output_, command).err, HasSubstr("401"));
  EXPECT_THAT(run_program(output_, command, "KORVANE_TOKEN=" + reader).out,
              HasSubstr("lacks the scope write"));
  EXPECT_EQ(run_program(output_, command + " --token " + writer).exit_code, 0);
}

TEST_F(CheckLocks, WithAServerOfAnotherFolder_Fail) {
  ServedFolder server;
  const Outcome outcome = check("", "--with " + server.url());
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_EQ(names_of(outcome, "fails"), Names{"file_is_seen"});
  EXPECT_EQ(names_of(outcome, "holds"), Names{});
}

TEST_F(CheckLocks, OfWhichTheServerKnowsNothing_AreFound) {
  ServedFolder server;
  const Outcome outcome = run_program(
      output_, "check --quiet --format json --locks " + server.file("") + " --with " + server.url(),
      broken("granted"));
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(names_of(outcome, "fails"), Contains("writer_keeps_writers_out"));
}

TEST_F(CheckLocks, WithAServerThatIsNotThere_SayNothingOfLocks) {
  const Outcome outcome = check("", "--with http://127.0.0.1:1");
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err, HasSubstr("cannot reach"));
}

TEST_F(CheckLocks, AreOfAFolderAndNotOfProjects) {
  EXPECT_EQ(run_program(output_, "check").exit_code, 2);
  EXPECT_EQ(run_program(output_, "check a.db --locks " + root()).exit_code, 2);
  EXPECT_EQ(run_program(output_, "check a.db --with http://127.0.0.1:1").exit_code, 2);
}

// ---- a file that is not the checks' own

class ForeignProbe : public testing::Test {
 protected:
  ForeignProbe() : probe_(file()) {}

  std::string file() const { return folder_.file(".korvane-locks-0123456789abcdef"); }
  void make(const std::string& sql) const {
    std::ofstream{file()};
    test::PlainConnection(file(), test::PlainConnection::Mode::kWrite).run(sql);
  }

  TemporaryFolder folder_;
  sqlite::LockProbe probe_;
};

TEST_F(ForeignProbe, ThatComputesForEver_IsStopped) {
  make(
      "create view probe(id, value) as with recursive n(i) as (select 1 union all select i + 1 "
      "from n) select 1, count(*) from n");
  EXPECT_THAT(probe_.run("value"), HasSubstr("interrupted"));
}

TEST_F(ForeignProbe, DoesNotGrowWithoutABound) {
  ASSERT_EQ(probe_.run("make"), "done");
  std::string outcome = "done";
  for (int i = 0; i < 40 && outcome == "done"; ++i) outcome = probe_.run("grow");
  EXPECT_THAT(outcome, HasSubstr("larger than 16777216 bytes"));
  EXPECT_LT(std::filesystem::file_size(file()), 20U << 20U);
}

// ---- mounts

constexpr const char* kMounts =
    "22 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw,errors=remount-ro\n"
    "23 22 0:40 / /srv rw,noatime - nfs4 10.0.0.1:/p rw,vers=4.2,local_lock=none,addr=10.0.0.1\n"
    "24 23 0:41 / /srv/old\\040hall rw - nfs 10.0.0.1:/q rw,vers=3,nolock,local_lock=all\n"
    "25 22 0:42 / /home/me rw master:1 propagate_from:2 - fuse.sshfs me@far: rw,user_id=0\n"
    "26 22 0:43 / /mnt rw - ext4 /dev/sdb rw\n"
    "27 22 0:44 / /mnt rw - cifs //far/share rw,cache=strict,nobrl\n";

std::optional<Mount> mount(const std::string& folder) {
  std::istringstream mountinfo(kMounts);
  return mount_of(folder, mountinfo);
}

std::string refused_for(const std::string& folder) {
  const UnsharedMount* const unshared = find_unshared(*mount(folder));
  return unshared == nullptr ? "" : std::string(unshared->option);
}

TEST(SharedMounts, AreFoundByTheLongestPointAboveAFolder) {
  EXPECT_EQ(mount("/srv/projects")->point, "/srv");
  EXPECT_EQ(mount("/srv/projects")->type, "nfs4");
  EXPECT_EQ(mount("/srvices")->point, "/");
  EXPECT_EQ(mount("/srv/old hall/a")->point, "/srv/old hall");
  EXPECT_EQ(mount("/home/me")->type, "fuse.sshfs");
}

TEST(SharedMounts, OfOnePoint_AreTheLast) { EXPECT_EQ(mount("/mnt/a")->type, "cifs"); }

TEST(SharedMounts, WhoseLocksStayWithinTheMachine_AreRefused) {
  EXPECT_EQ(find_unshared(*mount("/")), nullptr);
  EXPECT_EQ(find_unshared(*mount("/srv")), nullptr);
  EXPECT_EQ(refused_for("/srv/old hall"), "nolock");
  EXPECT_EQ(refused_for("/mnt"), "nobrl");
  EXPECT_NE(find_unshared(*mount("/home/me")), nullptr);
}

TEST(SharedMounts, AreKnownAsThoseOfSeveralMachines) {
  EXPECT_TRUE(is_of_several_machines(*mount("/srv")));
  EXPECT_FALSE(is_of_several_machines(*mount("/")));
}

// ---- the page

TEST(SharedStoragePage, ListsTheRulesAndTheMountsThatAreRefused) {
  const std::string page = text_of(KORVANE_SHARED_STORAGE_PAGE);
  for (const sqlite::LockRule& rule : sqlite::lock_rules()) {
    EXPECT_THAT(page, HasSubstr("| `" + std::string(rule.name) + "` | " + std::string(rule.holds) +
                                " | " + std::string(rule.else_means) + " |\n"));
  }
  for (const UnsharedMount& mount : unshared_mounts()) {
    const std::string option = mount.option.empty() ? "" : "`" + std::string(mount.option) + "`";
    EXPECT_THAT(page,
                HasSubstr("| `" + std::string(mount.type) + "` | " + option + " | " +
                          std::string(mount.why) + " | " + std::string(mount.remedy) + " |\n"));
  }
}

}  // namespace
}  // namespace korvane::tools
