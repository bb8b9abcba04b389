// Two servers that serve one project at once, as happens for a moment whenever a balancer sends the
// calls of a project to another one.

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <future>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "clients/cpp/remote_project.h"
#include "sqlite/backup.h"
#include "sqlite/check.h"
#include "tests/host/support/test_server.h"
#include "tests/scenarios/soak/served_program.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/records.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {
namespace {

using namespace model::cad;
using client::RemoteProject;

constexpr const char* kFile = "p.db";

class SharedFolder : public testing::Test {
 protected:
  SharedFolder() {
    for (auto& server : servers_) server = std::make_unique<ServedProgram>(folder());
  }
  ~SharedFolder() override {
    if (std::filesystem::exists(file())) {
      EXPECT_TRUE(sqlite::check_file(file()).is_sound());
    }
  }

  std::string folder() const { return folder_.path().string(); }
  std::string file() const { return folder_.file(kFile); }
  ServedProgram& server(std::size_t number) { return *servers_.at(number); }
  /// Writes have keys of their own, and are sent again where that is safe.
  RemoteProject project(std::size_t server_number) {
    client::Options options;
    options.attempts = 20;
    options.longest_pause = std::chrono::milliseconds(100);
    return {server(server_number).url(), kFile, options, RemoteProject::IfMissing::make};
  }
  HttpClient http(std::size_t server_number) { return HttpClient(server(server_number).port()); }

  static std::int64_t make_sheet(RemoteProject& project, const std::string& name) {
    Sheet sheet;
    sheet.name = name;
    SheetRef ref;
    project.create_sheet(sheet, ref);
    return ref.id.value();
  }
  static std::size_t count_sheets(RemoteProject& project) {
    Batch<Sheet> sheets;
    project.list_sheets({}, sheets);
    return sheets.items.size();
  }
  std::string rows_of(const std::string& sql) const { return *plain_rows(file(), sql)[0][0]; }

  TemporaryFolder folder_;
  std::array<std::unique_ptr<ServedProgram>, 2> servers_;
};

TEST_F(SharedFolder, WritesByBothInTurn_AreReadByTheOtherAtOnce) {
  std::array projects = {project(0), project(1)};
  for (std::size_t i = 0; i < 10; ++i) {
    EXPECT_EQ(make_sheet(projects.at(i % 2), std::to_string(i)), static_cast<std::int64_t>(i + 1));
    EXPECT_EQ(count_sheets(projects.at((i + 1) % 2)), i + 1);
  }
}

/// Clients of both servers that store sheets and bars with end treatments, which are read before
/// they are written.
class Writers {
 public:
  static constexpr std::size_t kClients = 4;
  static constexpr int kRounds = 8;

  /// What was acknowledged.
  std::multiset<std::int64_t> sheets;
  std::size_t bars = 0;
  /// Calls that failed.
  int failures = 0;

  std::size_t acknowledged() {
    const std::lock_guard lock(mutex_);
    return bars;
  }

  void write(RemoteProject project, std::int32_t revision, std::int32_t material) {
    for (int i = 0; i < kRounds; ++i) {
      try {
        SheetRef ref;
        project.create_sheet({}, ref);
        {
          const std::lock_guard lock(mutex_);
          sheets.insert(ref.id.value());
        }
        Rebar bar = full_rebar(revision, material);
        bar.sheet_id = 1;
        GenericReply reply;
        project.add_rebar({std::vector<Rebar>(3, bar)}, reply);
        const std::lock_guard lock(mutex_);
        bars += 3;
      } catch (const std::exception&) {
        const std::lock_guard lock(mutex_);
        ++failures;
        return;
      }
    }
  }

 private:
  std::mutex mutex_;
};

class SharedByWriters : public SharedFolder {
 protected:
  SharedByWriters() {
    RemoteProject first = project(0);
    MaterialRef material;
    first.create_material({}, material);
    material_ = material.id.value();
    make_sheet(first, "417");
    Revision revision;
    revision.sheet_id = 1;
    RevisionRef ref;
    first.create_revision(revision, ref);
    revision_ = ref.id.value();
  }

  /// Every client with one server, half of them with each; `meanwhile` runs beside them.
  template <class Work>
  void write(Writers& writers, Work meanwhile) {
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < Writers::kClients; ++i) {
      threads.emplace_back([&, i] { writers.write(project(i % 2), revision_, material_); });
    }
    meanwhile();
    for (std::thread& thread : threads) thread.join();
  }

  std::int32_t revision_ = 0;
  std::int32_t material_ = 0;
};

TEST_F(SharedByWriters, WritesByBothAtATime_AreAllThereUnderIdsOfTheirOwn) {
  Writers writers;
  write(writers, [] {});
  EXPECT_EQ(writers.failures, 0);
  const std::size_t made = Writers::kClients * Writers::kRounds;
  EXPECT_EQ(writers.sheets.size(), made);
  EXPECT_EQ(std::set(writers.sheets.begin(), writers.sheets.end()).size(), made);
  EXPECT_EQ(rows_of("select count(*) from sheet"), std::to_string(made + 1));
  EXPECT_EQ(rows_of("select count(*) from rebar"), std::to_string(writers.bars));
  EXPECT_EQ(rows_of("select count(*) - count(distinct id) from rebar"), "0");
}

TEST_F(SharedByWriters, WhatAServerAcknowledgedThatWasKilled_IsThereAndTheOtherGoesOn) {
  Writers writers;
  write(writers, [&] {
    while (writers.acknowledged() < 12) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    server(0).kill();
    servers_.front().reset();
  });
  EXPECT_EQ(writers.failures, 2);
  RemoteProject left = project(1);
  make_sheet(left, "after");
  Batch<Sheet> sheets;
  left.list_sheets({}, sheets);
  std::set<std::int64_t> ids;
  for (const Sheet& sheet : sheets.items) ids.insert(sheet.id);
  for (const std::int64_t id : writers.sheets) EXPECT_EQ(ids.count(id), 1U) << id;
  EXPECT_GE(std::stoul(rows_of("select count(*) from rebar")), writers.bars);
}

TEST_F(SharedFolder, AnswerThatOneHasKept_IsGivenByTheOther) {
  std::array clients = {http(0), http(1)};
  const std::string target = "/v1/projects/p.db/create_sheet?create=true";
  const auto send = [&](std::size_t number, const std::string& key) {
    return clients.at(number).send("POST", target, R"({"name":"417"})",
                                   {{"Content-Type", kJson}, {"Idempotency-Key", key}});
  };
  const HttpAnswer first = send(0, "one");
  ASSERT_EQ(first.status, 200) << first.body;
  const HttpAnswer again = send(1, "one");
  EXPECT_EQ(again.status, 200);
  EXPECT_EQ(again.body, first.body);
  EXPECT_EQ(again.fields.at("idempotency-replayed"), "true");
  EXPECT_EQ(rows_of("select count(*) from sheet"), "1");
  for (int round = 0; round < 10; ++round) {
    const std::string key = "key" + std::to_string(round);
    auto other = std::async(std::launch::async, [&] { return send(1, key); });
    const HttpAnswer own = send(0, key);
    const HttpAnswer others = other.get();
    EXPECT_EQ(own.status, 200) << own.body;
    EXPECT_EQ(others.body, own.body);
  }
  EXPECT_EQ(rows_of("select count(*) from sheet"), "11");
}

TEST_F(SharedFolder, RestoredContent_IsSeenByBothWithTheirNextCall) {
  std::array projects = {project(0), project(1)};
  make_sheet(projects[0], "417");
  EXPECT_EQ(count_sheets(projects[1]), 1U);
  const TemporaryFolder copies;
  sqlite::back_up(file(), copies.file(kFile));
  make_sheet(projects[1], "418");
  EXPECT_EQ(count_sheets(projects[0]), 2U);
  sqlite::CopyOptions options;
  options.is_replacing = true;
  EXPECT_FALSE(sqlite::restore(copies.file(kFile), file(), options).is_replaced);
  EXPECT_EQ(count_sheets(projects[0]), 1U);
  EXPECT_EQ(count_sheets(projects[1]), 1U);
  make_sheet(projects[0], "419");
  EXPECT_EQ(make_sheet(projects[1], "420"), 3);
}

TEST_F(SharedFolder, FileThatWasMovedIntoPlace_IsServedByThoseAloneWhoOpenItAfterwards) {
  std::array projects = {project(0), project(1)};
  make_sheet(projects[0], "417");
  const TemporaryFolder copies;
  sqlite::back_up(file(), copies.file(kFile));
  make_sheet(projects[1], "418");
  std::filesystem::copy_file(copies.file(kFile), folder_.file("new"));
  std::filesystem::rename(folder_.file("new"), file());
  // Nobody is shown the file that is not there any more.
  const auto status_of = [](RemoteProject& project) {
    try {
      count_sheets(project);
      return 200;
    } catch (const client::ServerError& refusal) {
      return refusal.status;
    }
  };
  EXPECT_EQ(status_of(projects[0]), 404);
  EXPECT_EQ(status_of(projects[1]), 404);
  EXPECT_EQ(server(1).stop(), 0);
  servers_.back() = std::make_unique<ServedProgram>(folder());
  RemoteProject anew = project(1);
  EXPECT_EQ(count_sheets(anew), 1U);
  EXPECT_EQ(status_of(projects[0]), 404);
}

}  // namespace
}  // namespace korvane::test
