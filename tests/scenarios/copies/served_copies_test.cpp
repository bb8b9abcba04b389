// A server whose project sixteen clients write to without a pause, while it is backed up and
// restored from outside.
//
//     KORVANE_BACKUPS=100   6 by default

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "clients/cpp/remote_project.h"
#include "schedule/query.h"
#include "sqlite/backup.h"
#include "sqlite/standing_copy.h"
#include "tests/scenarios/soak/served_program.h"
#include "tests/sqlite/damaged_project.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/records.h"
#include "tests/support/temporary_folder.h"

namespace korvane::sqlite {
namespace {

using namespace model::cad;
using client::RemoteProject;
using Clock = std::chrono::steady_clock;
using test::plain_rows;
using test::Rows;
using testing::IsEmpty;

constexpr std::size_t kClients = 16;
constexpr std::size_t kBatch = 5;

double milliseconds_since(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

int backups() {
  const char* const given = std::getenv("KORVANE_BACKUPS");
  return given == nullptr ? 6 : std::stoi(given);
}

/// Clients that each add bars to a revision of their own until the object goes.
class Writers {
 public:
  explicit Writers(const test::ServedProgram& server) {
    for (std::size_t i = 0; i < kClients; ++i) {
      threads_.emplace_back([this, i, url = server.url()] {
        try {
          write(i, url);
        } catch (const std::exception& failure) {
          ADD_FAILURE() << failure.what();
        }
      });
    }
    while (std::any_of(stored.begin(), stored.end(), [](const auto& n) { return n == 0; }) &&
           !testing::Test::HasFailure()) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  Writers(const Writers&) = delete;
  Writers& operator=(const Writers&) = delete;
  ~Writers() {
    is_ending_ = true;
    for (std::thread& thread : threads_) thread.join();
  }

  /// The batches of each client that were acknowledged.
  std::array<std::atomic<int>, kClients> stored{};
  std::atomic<double> longest_call{0};

 private:
  void write(std::size_t number, const std::string& url) {
    RemoteProject project(url, "", "p.db", RemoteProject::IfMissing::make);
    MaterialRef material;
    project.create_material({}, material);
    SheetRef sheet;
    Sheet named;
    named.name = std::to_string(number);
    project.create_sheet(named, sheet);
    Revision revision;
    revision.sheet_id = sheet.id.value();
    RevisionRef ref;
    project.create_revision(revision, ref);
    Rebar bar = test::full_rebar(ref.id.value(), material.id.value());
    bar.sheet_id = sheet.id.value();
    bar.member = std::to_string(number);
    while (!is_ending_) {
      const auto start = Clock::now();
      GenericReply reply;
      project.add_rebar({std::vector<Rebar>(kBatch, bar)}, reply);
      ++stored.at(number);
      const double took = milliseconds_since(start);
      for (double longest = longest_call; took > longest;) {
        if (longest_call.compare_exchange_weak(longest, took)) break;
      }
    }
  }

  std::atomic<bool> is_ending_ = false;
  std::vector<std::thread> threads_;
};

TEST(ServedCopies, HoldAllThatWasAcknowledgedBeforeTheyBegan) {
  const test::TemporaryFolder folder;
  const test::TemporaryFolder copies;
  test::ServedProgram server(folder.path().string());
  double longest_backup = 0;
  double longest_call = 0;
  {
    Writers writers(server);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    std::cout << "longest call without a backup " << writers.longest_call << " ms\n";
    writers.longest_call = 0;
    for (int i = 0; i < backups() && !testing::Test::HasFailure(); ++i) {
      std::array<int, kClients> before{};
      for (std::size_t client = 0; client < kClients; ++client) {
        before[client] = writers.stored[client];
      }
      const std::string copy = copies.file("copy " + std::to_string(i) + ".db");
      const auto start = Clock::now();
      back_up(folder.file("p.db"), copy);
      longest_backup = std::max(longest_backup, milliseconds_since(start));
      EXPECT_THAT(check_lines(copy), IsEmpty());
      for (std::size_t client = 0; client < kClients; ++client) {
        const Rows counted = plain_rows(
            copy, "select count(*) from rebar where member = '" + std::to_string(client) + "'");
        const int found = std::stoi(*counted[0][0]);
        EXPECT_GE(found, before[client] * static_cast<int>(kBatch)) << client;
        EXPECT_EQ(found % static_cast<int>(kBatch), 0) << client;
      }
    }
    longest_call = writers.longest_call;
  }
  std::cout << "longest backup " << longest_backup << " ms, longest call beside it " << longest_call
            << " ms\n";
  EXPECT_TRUE(check_file(folder.file("p.db")).is_sound());
  EXPECT_EQ(server.stop(), 0);
}

TEST(ServedCopies, AreCheckedBesideTheServerToo) {
  const test::TemporaryFolder folder;
  test::ServedProgram server(folder.path().string());
  const Writers writers(server);
  for (int i = 0; i < 5; ++i) EXPECT_THAT(check_lines(folder.file("p.db")), IsEmpty());
}

TEST(ServedCopies, ThatStandAreReadThroughAServerOfTheirOwn) {
  const test::TemporaryFolder folder;
  const test::TemporaryFolder copies;
  test::ServedProgram server(folder.path().string());
  test::ServedProgram standby(copies.path().string());
  Writers writers(server);
  double longest_copy = 0;
  double longest_read = 0;
  int last = 0;
  for (int i = 0; i < 2 * backups() && !testing::Test::HasFailure(); ++i) {
    const int before = writers.stored[0];
    auto start = Clock::now();
    update_copy(folder.file("p.db"), copies.file("p.db"));
    longest_copy = std::max(longest_copy, milliseconds_since(start));
    start = Clock::now();
    RemoteProject project(standby.url(), "", "p.db", RemoteProject::IfMissing::fail);
    const char* const count = "select count(*) from rebar where member = '0'";
    const std::int64_t served = schedule::integer_in(schedule::query_row<1>(project, count)[0]);
    longest_read = std::max(longest_read, milliseconds_since(start));
    const int found = std::stoi(*plain_rows(copies.file("p.db"), count)[0][0]);
    EXPECT_GE(found, before * static_cast<int>(kBatch));
    EXPECT_GE(found, last);
    EXPECT_EQ(served, found);
    last = found;
  }
  std::cout << "longest copy " << longest_copy << " ms, longest call beside it "
            << writers.longest_call << " ms, longest read of the copy " << longest_read << " ms\n";
}

TEST(ServedCopies, AreSeenByTheServerAsSoonAsTheyAreRestored) {
  const test::TemporaryFolder folder;
  const test::TemporaryFolder copies;
  test::ServedProgram server(folder.path().string());
  RemoteProject project(server.url(), "", "p.db", RemoteProject::IfMissing::make);
  SheetRef ref;
  project.create_sheet({}, ref);
  back_up(folder.file("p.db"), copies.file("p.db"));
  project.create_sheet({}, ref);
  CopyOptions options;
  options.is_replacing = true;
  EXPECT_FALSE(restore(copies.file("p.db"), folder.file("p.db"), options).is_replaced);
  Batch<Sheet> sheets;
  project.list_sheets({}, sheets);
  EXPECT_EQ(sheets.items.size(), 1U);
  project.create_sheet({}, ref);
  EXPECT_EQ(ref.id.value(), 2);
  EXPECT_TRUE(check_file(folder.file("p.db")).is_sound());
}

}  // namespace
}  // namespace korvane::sqlite
