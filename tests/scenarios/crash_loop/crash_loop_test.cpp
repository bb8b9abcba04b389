// A process that writes to a project is killed again and again. After each kill the file must hold
// all that was acknowledged, at most one operation more, and nothing by halves. What it should hold
// is seen in a second project that had the same operations in this process and was never killed.
//
//     KORVANE_CRASHES=10000      kills, 100 by default
//     KORVANE_CRASH_SEED=12345   replays a run's operations; the machine decides when the
//     kills come

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <random>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqlite/check.h"
#include "tests/scenarios/crash_loop/scripted_stream.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/temporary_folder.h"
#include "tools/korvane/embedded_project.h"

namespace korvane::test {
namespace {

using tools::EmbeddedProject;

/// After so many kills the next project is begun: what is wanted of one grows too long to apply.
constexpr int kCrashesOfAProject = 10;
constexpr std::uint32_t kLongestLifeInMicroseconds = 100'000;

std::uint32_t number_of(const char* variable, std::uint32_t standard) {
  const char* const given = std::getenv(variable);
  return given == nullptr ? standard : static_cast<std::uint32_t>(std::stoul(given));
}

std::string plugin_folder() {
  return std::filesystem::path(KORVANE_PLUGIN_FILE).parent_path().string();
}

/// The process that writes. Destroying the object kills it.
class Writer {
 public:
  Writer(const std::string& project, const std::string& journal, std::uint32_t seed,
         std::uint32_t from) {
    std::array<int, 2> output{};
    if (::pipe(output.data()) != 0) throw std::runtime_error("no pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, output[0]);
    std::vector<std::string> words = {KORVANE_CRASH_WRITER, plugin_folder(),     project, journal,
                                      std::to_string(seed), std::to_string(from)};
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const int result = ::posix_spawn(&process_, KORVANE_CRASH_WRITER, &actions, nullptr,
                                     arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(output[1]);
    char line = 0;
    const bool is_open = result == 0 && ::read(output[0], &line, 1) == 1;
    ::close(output[0]);
    if (!is_open) throw std::runtime_error("the writer did not open the project");
  }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  ~Writer() {
    ::kill(process_, SIGKILL);
    int status = 0;
    ::waitpid(process_, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)
        << "the writer ended by itself: " << status;
  }

 private:
  pid_t process_ = 0;
};

/// Every row of every table, in order.
std::vector<std::string> dump(const std::string& file) {
  std::vector<std::string> lines;
  for (const Row& table : plain_rows(file, "select name from sqlite_master where type = 'table'")) {
    const std::string& name = *table.at(0);
    for (const Row& row : plain_rows(file, "select * from " + name + " order by 1")) {
      std::string line = name;
      for (const CellText& cell : row) line += "|" + cell.value_or("NULL");
      lines.push_back(std::move(line));
    }
  }
  return lines;
}

/// A project whose writer is killed, and the one that shows what it should hold.
class CrashedProject {
 public:
  explicit CrashedProject(std::uint32_t seed) : seed_(seed) {}

  /// Writes for a while and is killed. Returns how many operations were acknowledged.
  std::uint32_t write_and_crash(std::chrono::microseconds life) {
    std::filesystem::remove(journal_);
    {
      const Writer writer(file_, journal_, seed_, done_);
      std::this_thread::sleep_for(life);
    }
    std::error_code is_missing;
    const auto bytes = std::filesystem::file_size(journal_, is_missing);
    return is_missing ? 0 : static_cast<std::uint32_t>(bytes);
  }

  void check(std::uint32_t acknowledged) {
    // The first to open the file after the crash is the plugin, as it would be.
    std::vector<std::string> found;
    {
      EmbeddedProject project(plugin_folder(), file_, EmbeddedProject::IfMissing::make);
      Batch<model::cad::Sheet> sheets;
      project.service().list_sheets({}, sheets);
    }
    EXPECT_EQ(plain_rows(file_, "pragma integrity_check"), (Rows{{"ok"}}));
    EXPECT_EQ(plain_rows(file_, "pragma foreign_key_check"), Rows{});
    EXPECT_TRUE(sqlite::check_file(file_).is_sound());
    found = dump(file_);
    apply(acknowledged);
    if (found == dump(wanted_file_)) return;
    ++unacknowledged_;
    apply(1);
    ASSERT_EQ(found, dump(wanted_file_))
        << "after operation " << done_ << " of KORVANE_CRASH_SEED=" << seed_;
  }

  std::uint32_t operations() const { return done_; }
  int unacknowledged() const { return unacknowledged_; }

 private:
  void apply(std::uint32_t count) {
    EmbeddedProject project(plugin_folder(), wanted_file_, EmbeddedProject::IfMissing::make);
    model::table::GET_TABLE fast;
    fast.kind = "sql:raw";
    fast.params["query"].value_string.set("pragma synchronous = off");
    model::table::TABLE ignored;
    project.service().query_table(fast, ignored);
    for (; count != 0; --count) apply_scripted_operation(project.service(), seed_, done_++);
  }

  TemporaryFolder folder_;
  std::string file_ = folder_.file("crashed.db");
  std::string wanted_file_ = folder_.file("wanted.db");
  std::string journal_ = folder_.file("journal");
  std::uint32_t seed_;
  std::uint32_t done_ = 0;
  int unacknowledged_ = 0;
};

TEST(AKilledWriter, LeavesWhatItAcknowledgedAndNothingByHalves) {
  const std::uint32_t crashes = number_of("KORVANE_CRASHES", 100);
  const std::uint32_t seed = number_of("KORVANE_CRASH_SEED", std::random_device{}());
  std::cout << "KORVANE_CRASH_SEED=" << seed << '\n';
  std::mt19937 random(seed);
  std::unique_ptr<CrashedProject> project;
  std::uint32_t operations = 0;
  int unacknowledged = 0;
  const auto finish = [&] {
    if (!project) return;
    operations += project->operations();
    unacknowledged += project->unacknowledged();
  };
  for (std::uint32_t crash = 0; crash < crashes; ++crash) {
    if (crash % kCrashesOfAProject == 0) {
      finish();
      project = std::make_unique<CrashedProject>(seed + crash);
    }
    const std::chrono::microseconds life(random() % kLongestLifeInMicroseconds);
    const std::uint32_t acknowledged = project->write_and_crash(life);
    ASSERT_NO_FATAL_FAILURE(project->check(acknowledged));
    if (HasFailure()) return;
  }
  finish();
  std::cout << crashes << " kills, " << operations << " operations, of which " << unacknowledged
            << " were done but not acknowledged\n";
  EXPECT_GT(operations, 0U);
}

}  // namespace
}  // namespace korvane::test
