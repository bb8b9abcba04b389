// 64 clients on 16 projects, and as many on 16 probes, at once over real connections. Meant for the
// thread sanitizer as much as for its own assertions: `make tsan` runs it for a minute.

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <deque>
#include <functional>
#include <set>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/support/probe_service.h"
#include "tests/host/support/test_server.h"

namespace korvane::test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kClients = 64;
constexpr std::size_t kServices = 16;

std::chrono::seconds load_time() {
  const char* const seconds = std::getenv("KORVANE_LOAD_SECONDS");
  return std::chrono::seconds(seconds == nullptr ? 2 : std::atoi(seconds));
}

/// Runs `client` in a thread for each of the clients, again and again until the time is over.
void run_clients(const std::function<void(std::size_t client, std::size_t turn)>& run) {
  const auto end = Clock::now() + load_time();
  std::vector<std::thread> threads;
  for (std::size_t client = 0; client < kClients; ++client) {
    threads.emplace_back([&, client] {
      for (std::size_t turn = 0; Clock::now() < end; ++turn) run(client, turn);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

class ServerUnderLoad : public ::testing::Test {
 protected:
  ServerUnderLoad() {
    for (std::size_t i = 0; i < kClients; ++i) clients_.emplace_back(server_.port());
  }

  TestServer server_;
  std::deque<HttpClient> clients_;
};

TEST_F(ServerUnderLoad, CallsToOneServiceNeverOverlap) {
  std::array<std::atomic<int>, kServices> calls{};
  std::array<std::atomic<int>, kServices> highest{};
  run_clients([&](std::size_t client, std::size_t) {
    const std::size_t service = client % kServices;
    const HttpAnswer answer = clients_[client].call(probe_id(service), "count");
    ASSERT_EQ(answer.status, 200) << answer.body;
    const int count = answer.json().at("value_int32");
    ++calls[service];
    for (int seen = highest[service]; seen < count;) {
      if (highest[service].compare_exchange_weak(seen, count)) break;
    }
  });
  // Every call was counted once: no two of them read the same count.
  for (std::size_t i = 0; i < kServices; ++i) EXPECT_EQ(calls[i], highest[i]);
  for (std::size_t i = 0; i < kServices; ++i) EXPECT_GT(calls[i], 0);
}

TEST_F(ServerUnderLoad, EveryReplyIsThatOfItsRequest) {
  std::vector<std::string> projects;
  for (std::size_t i = 0; i < kServices; ++i) {
    projects.push_back(server_.open("project-" + std::to_string(i) + ".db"));
  }
  ASSERT_EQ(std::set(projects.begin(), projects.end()).size(), kServices);
  std::vector<std::set<int>> made(kClients);
  run_clients([&](std::size_t client, std::size_t turn) {
    const std::string& project = projects[client % kServices];
    const std::string name = std::to_string(client) + "/" + std::to_string(turn);
    const HttpAnswer ref = clients_[client].call(project, "create_sheet", {{"name", name}});
    ASSERT_EQ(ref.status, 200) << ref.body;
    const int id = ref.json().at("id");
    made[client].insert(id);
    const HttpAnswer sheet = clients_[client].call(project, "get_sheet", {{"id", id}});
    ASSERT_EQ(sheet.status, 200) << sheet.body;
    EXPECT_EQ(sheet.json().at("name"), name);
    EXPECT_EQ(sheet.json().at("uid"), ref.json().at("uid"));
  });
  // Each project has the sheets that its clients have made, and no others.
  for (std::size_t i = 0; i < kServices; ++i) {
    std::set<int> expected;
    for (std::size_t client = i; client < kClients; client += kServices) {
      EXPECT_FALSE(made[client].empty());
      expected.insert(made[client].begin(), made[client].end());
    }
    std::set<int> found;
    const auto list = clients_[0].call(projects[i], "list_sheets").json();
    for (const auto& sheet : list.at("items")) found.insert(sheet.at("id").get<int>());
    EXPECT_EQ(found, expected);
  }
}

}  // namespace
}  // namespace korvane::test
