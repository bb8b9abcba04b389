// A process that backs up, restores, compacts, optimizes or keeps a standing copy is killed before each of the calls by which it
// changes a disk, one call a run. What is under the name afterwards is the old file or the new one.

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <set>
#include <stdexcept>
#include <string>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqlite/backup.h"
#include "sqlite/compact.h"
#include "sqlite/optimize.h"
#include "sqlite/standing_copy.h"
#include "tests/sqlite/damaged_project.h"
#include "tests/support/text_of.h"

namespace korvane::sqlite {
namespace {

namespace fs = std::filesystem;

bool changes_a_disk(std::uint64_t call) {
  static const std::set<std::uint64_t> kCalls = {
      SYS_write,     SYS_pwrite64, SYS_fsync,  SYS_fdatasync, SYS_renameat2,
      SYS_ftruncate, SYS_unlinkat, SYS_openat, SYS_fchmod,    SYS_fallocate,
#ifdef SYS_rename
      SYS_rename,    SYS_unlink,
#endif
  };
  return kCalls.count(call) != 0;
}

/// Runs `work` in a child and kills it before the call of that number. Returns whether it came so
/// far.
bool kill_before(int number, const std::function<void()>& work) {
  const pid_t child = ::fork();
  if (child < 0) throw std::runtime_error("no child");
  if (child == 0) {
    ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    ::raise(SIGSTOP);
    try {
      work();
    } catch (const std::exception& failure) {
      std::cerr << failure.what() << '\n';
      std::_Exit(EXIT_FAILURE);
    }
    std::_Exit(EXIT_SUCCESS);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
  for (int seen = 0;;) {
    if (::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) != 0) {
      throw std::runtime_error("the child cannot be traced");
    }
    ::waitpid(child, &status, 0);
    if (WIFEXITED(status)) {
      EXPECT_EQ(WEXITSTATUS(status), EXIT_SUCCESS);
      return false;
    }
    if (!WIFSTOPPED(status) || WSTOPSIG(status) != (SIGTRAP | 0x80)) continue;
    __ptrace_syscall_info call{};
    ::ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof(call), &call);
    if (call.op != PTRACE_SYSCALL_INFO_ENTRY || !changes_a_disk(call.entry.nr)) continue;
    if (++seen < number) continue;
    ::kill(child, SIGKILL);
    ::waitpid(child, &status, 0);
    return true;
  }
}

class KilledCopies : public SoundProject {
 protected:
  KilledCopies() {
    fs::create_directory(folder() + "/run");
    back_up(file(), old_file());
    for (int i = 0; i < 20; ++i) {
      run_plainly("insert into sheet (uid, raw) select 'sheet " + std::to_string(i) +
                  "', raw from sheet where id = 1");
    }
  }

  std::string folder() const { return fs::path(file()).parent_path().string(); }
  std::string old_file() const { return folder() + "/old.db"; }
  std::string target() const { return folder() + "/run/target.db"; }

  static test::Rows content(const std::string& file) {
    test::Rows content;
    for (const std::string& table : test::kTables) {
      for (const test::Row& row : test::plain_rows(file, "select * from " + table)) {
        content.push_back(row);
      }
    }
    return content;
  }

  /// Puts what is there before; else it is copied. May be null.
  std::function<void()> before_each_kill;
  /// What else must hold of the target. May be null.
  std::function<void()> after_each_kill;
  /// With the target.
  int files_at_the_end = 1;

  /// Kills `work`, which turns `before` under the target's name into a file with the content of
  /// `after`, before each of its calls.
  void kill_at_each_call(const std::string& before, const std::string& after,
                         const std::function<void()>& work) {
    const test::Rows old_content = before.empty() ? test::Rows() : content(before);
    const test::Rows new_content = content(after);
    int old_ones = 0;
    int new_ones = 0;
    bool is_killed = true;
    for (int number = 1; is_killed && !HasFailure(); ++number) {
      SCOPED_TRACE("killed before call " + std::to_string(number));
      fs::remove_all(folder() + "/run");
      fs::create_directory(folder() + "/run");
      if (before_each_kill) {
        before_each_kill();
      } else if (!before.empty()) {
        fs::copy(before, target());
      }
      is_killed = kill_before(number, work);
      if (!fs::exists(target())) {
        EXPECT_TRUE(before.empty());
        ++old_ones;
        continue;
      }
      // The first to open it takes back what was not committed, as the store would.
      test::PlainConnection(target(), test::PlainConnection::Mode::kWrite)
          .rows("select count(*) from sheet");
      EXPECT_TRUE(check_file(target()).is_sound());
      const test::Rows found = content(target());
      EXPECT_TRUE(found == old_content || found == new_content);
      if (after_each_kill) after_each_kill();
      found == new_content ? ++new_ones : ++old_ones;
      if (!is_killed) {
        EXPECT_EQ(found, new_content);
        EXPECT_EQ(
            std::distance(fs::directory_iterator(folder() + "/run"), fs::directory_iterator()),
            files_at_the_end);
      }
    }
    std::cout << old_ones << " kills left the old file, " << new_ones << " the new one\n";
    EXPECT_GT(old_ones + new_ones, 20);
    EXPECT_GT(new_ones, 0);
  }
};

TEST_F(KilledCopies, BackupLeavesNothingOrTheWholeCopy) {
  kill_at_each_call("", file(), [&] { back_up(file(), target()); });
}

TEST_F(KilledCopies, BackupLeavesTheOldCopyOrTheNewOne) {
  kill_at_each_call(old_file(), file(), [&] {
    CopyOptions options;
    options.is_replacing = true;
    back_up(file(), target(), options);
  });
}

TEST_F(KilledCopies, RestoreLeavesTheOldProjectOrTheRestoredOne) {
  kill_at_each_call(file(), old_file(), [&] {
    CopyOptions options;
    options.is_replacing = true;
    restore(old_file(), target(), options);
  });
}

TEST_F(KilledCopies, RestoreOfAMissingProjectLeavesNothingOrAllOfIt) {
  kill_at_each_call("", old_file(), [&] { restore(old_file(), target()); });
}

TEST_F(KilledCopies, StandingCopiesAreOldOrNewAndFollowAgain) {
  files_at_the_end = 2;  // its note
  before_each_kill = [&] { update_copy(old_file(), target()); };
  after_each_kill = [&] {
    update_copy(file(), target());
    EXPECT_EQ(content(target()), content(file()));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder() + "/run"), fs::directory_iterator()),
              2);
  };
  kill_at_each_call(old_file(), file(), [&] { update_copy(file(), target()); });
}

TEST_F(KilledCopies, StandingCopiesAreNotThereOrWholeAndFollowThen) {
  files_at_the_end = 2;
  after_each_kill = [&] {
    update_copy(old_file(), target());
    EXPECT_EQ(content(target()), content(old_file()));
  };
  kill_at_each_call("", file(), [&] { update_copy(file(), target()); });
}

TEST_F(KilledCopies, CompactLeavesEveryRow) {
  kill_at_each_call(file(), file(), [&] { compact_file(target()); });
}

TEST_F(KilledCopies, OptimizeLeavesEveryRowAndAllIndexesOrNone) {
  fs::copy(file(), folder() + "/whole.db");
  const std::size_t all = optimize_file(folder() + "/whole.db").indexes_after;
  const auto optimize = [&](bool is_dropping) {
    OptimizeOptions options;
    options.is_dropping = is_dropping;
    optimize_file(target(), options);
  };
  after_each_kill = [&] {
    const std::size_t found = std::stoull(*test::plain_rows(
        target(), "select count(*) from sqlite_schema where name like 'korvane%'")[0][0]);
    EXPECT_TRUE(found == 0 || found == all) << found;
  };
  kill_at_each_call(file(), file(), [&] { optimize(false); });
  kill_at_each_call(folder() + "/whole.db", file(), [&] { optimize(true); });
}

}  // namespace
}  // namespace korvane::sqlite
