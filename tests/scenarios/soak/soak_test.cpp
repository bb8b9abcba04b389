// The program under a mixture of everything for a long time: clients that store, read and query,
// that ask for what is not there, that break off and come back. What it holds in memory and open
// files must not grow, and every answer must be right to the end.
//
//     KORVANE_SOAK_SECONDS=3600    10 by default
//     KORVANE_SOAK_SEED=12345      replays the choices of each client

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <map>
#include <mutex>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "clients/cpp/remote_project.h"
#include "tests/host/support/test_server.h"
#include "tests/scenarios/soak/served_program.h"
#include "tests/support/records.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {
namespace {

using namespace model::cad;
using client::RemoteProject;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kClients = 16;
constexpr std::size_t kProjects = 6;
constexpr std::size_t kBatch = 40;
/// Bars of a revision after which its client clears it, so that the files stay as they are.
constexpr std::size_t kBarsOfARevision = 400;

std::uint32_t number_of(const char* variable, std::uint32_t standard) {
  const char* const given = std::getenv(variable);
  return given == nullptr ? standard : static_cast<std::uint32_t>(std::stoul(given));
}

std::string project_file(std::size_t client) {
  return "project-" + std::to_string(client % kProjects) + ".db";
}

/// Times of calls by what was done, in milliseconds.
class Latencies {
 public:
  void add(const std::string& work, double milliseconds) { times_[work].push_back(milliseconds); }
  void add(const Latencies& other) {
    for (const auto& [work, times] : other.times_) {
      times_[work].insert(times_[work].end(), times.begin(), times.end());
    }
  }

  std::size_t count() const {
    std::size_t total = 0;
    for (const auto& [work, times] : times_) total += times.size();
    return total;
  }

  void print() {
    std::cout << std::left << std::setw(28) << "milliseconds" << std::right;
    for (const char* column : {"calls", "50 %", "90 %", "99 %", "99.9 %", "longest"}) {
      std::cout << std::setw(11) << column;
    }
    std::cout << std::fixed << std::setprecision(2) << '\n';
    for (auto& [work, times] : times_) {
      std::sort(times.begin(), times.end());
      std::cout << std::left << std::setw(28) << work << std::right << std::setw(11)
                << times.size();
      for (const double share : {0.5, 0.9, 0.99, 0.999, 1.0}) {
        const auto last = static_cast<double>(times.size() - 1);
        std::cout << std::setw(11) << times[static_cast<std::size_t>(last * share)];
      }
      std::cout << '\n';
    }
  }

 private:
  std::map<std::string, std::vector<double>> times_;
};

/// One client with its own sheet and revision in a project that it shares with others. Each `turn`
/// does one thing and looks at its outcome.
class Client {
 public:
  Client(const ServedProgram& server, std::size_t number, std::uint32_t seed)
      : server_(server), number_(number), random_(seed) {
    connect();
    SheetRef sheet;
    project_->create_sheet({}, sheet);
    Revision revision;
    revision.sheet_id = sheet.id.value();
    project_->create_revision(revision, revision_);
    MaterialRef material;
    project_->create_material({}, material);
    bar_ = full_rebar(revision_.id.value(), material.id.value());
  }

  void turn() {
    const std::size_t choice = random_() % 100;
    if (choice < 30) {
      time("get_sheet, JSON", [&] { get_sheet(); });
    } else if (choice < 45) {
      time("get_rebars, binary", [&] { get_rebars(); });
    } else if (choice < 50) {
      time("get_rebars, JSON", [&] { get_rebars_as_json(); });
    } else if (choice < 62) {
      time("query_table, JSON", [&] { query(); });
    } else if (choice < 72) {
      time("add_rebar of 40, binary", [&] { add_bars(); });
    } else if (choice < 77) {
      time("create and delete, binary", [&] { create_and_delete(); });
    } else if (choice < 82) {
      time("refused: no such record", [&] { ask_for_what_is_not_there(); });
    } else if (choice < 86) {
      time("refused: no JSON", [&] { send_no_json(); });
    } else if (choice < 90) {
      time("/metrics", [&] { EXPECT_EQ(http_->get("/metrics").status, 200); });
    } else if (choice < 94) {
      time("broken off in the body", [&] { break_off(); });
    } else if (choice < 97) {
      time("connect and open", [&] { connect(); });
    } else {
      time("opened past the root", [&] { open_outside(); });
    }
    if (bars_ >= kBarsOfARevision) {
      time("clear_for_revision, binary", [&] { clear(); });
    }
  }

  const Latencies& latencies() const { return latencies_; }

 private:
  template <class Work>
  void time(const char* work, Work run) {
    const auto start = Clock::now();
    run();
    latencies_.add(work, std::chrono::duration<double, std::milli>(Clock::now() - start).count());
  }

  void connect() {
    project_ = std::make_unique<RemoteProject>(server_.url(), "", project_file(number_),
                                               RemoteProject::IfMissing::make);
    http_ = std::make_unique<HttpClient>(server_.port());
    service_ = http_->call(kManager, "open", {{"filename", project_file(number_)}})
                   .json()
                   .at("service_id");
  }

  nlohmann::json revision() const { return {{"id", revision_.id.value()}}; }

  void get_sheet() {
    const HttpAnswer answer = http_->call(service_, "get_revision", revision());
    ASSERT_EQ(answer.status, 200) << answer.body;
    EXPECT_EQ(answer.json().at("uid"), revision_.uid.value());
  }
  void get_rebars() {
    Batch<Rebar> reply;
    project_->get_rebars(revision_, reply);
    ASSERT_EQ(reply.items.size(), bars_);
    if (!reply.items.empty()) {
      EXPECT_EQ(reply.items.back().mark, bar_.mark);
    }
  }
  void get_rebars_as_json() {
    const HttpAnswer answer = http_->call(service_, "get_rebars", revision());
    ASSERT_EQ(answer.status, 200) << answer.body;
    EXPECT_EQ(answer.json().at("items").size(), bars_);
  }
  void query() {
    const HttpAnswer answer =
        http_->call(service_, "query_table",
                    sql_request("select id, mark, bar_diameter from rebar where rev_id = " +
                                std::to_string(revision_.id.value())));
    ASSERT_EQ(answer.status, 200) << answer.body;
    EXPECT_EQ(answer.json().at("rows").size(), bars_);
  }
  void add_bars() {
    GenericReply reply;
    project_->add_rebar({std::vector<Rebar>(kBatch, bar_)}, reply);
    bars_ += kBatch;
  }
  void clear() {
    GenericReply reply;
    project_->clear_for_revision(revision_, reply);
    bars_ = 0;
  }
  void create_and_delete() {
    MaterialRef material;
    GenericReply reply;
    project_->create_material({}, material);
    project_->delete_material(material, reply);
  }
  void ask_for_what_is_not_there() {
    EXPECT_EQ(http_->call(service_, "get_sheet", {{"id", -5}}).status, 404);
    EXPECT_EQ(http_->call("korvane.model.cad.Project:999", "get_sheet").status, 404);
  }
  void send_no_json() {
    const HttpAnswer answer = http_->send("POST", "/v1/" + service_ + "/create_sheet",
                                          "{\"name\":", {{"Content-Type", kJson}});
    EXPECT_EQ(answer.status, 400) << answer.body;
  }
  void break_off() const {
    RawConnection connection(server_.port());
    connection.send("POST /v1/" + service_ +
                    "/create_sheet HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json"
                    "\r\nContent-Length: 1000\r\n\r\n{\"name\":");
    connection.reset();
  }
  void open_outside() {
    EXPECT_GE(http_->call(kManager, "open", {{"filename", "../outside.db"}}).status, 400);
  }

  const ServedProgram& server_;
  std::size_t number_;
  std::mt19937 random_;
  std::unique_ptr<RemoteProject> project_;
  std::unique_ptr<HttpClient> http_;
  std::string service_;
  RevisionRef revision_;
  Rebar bar_;
  std::size_t bars_ = 0;
  Latencies latencies_;
};

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values.at(values.size() / 2);
}

TEST(Soak, MemoryAndOpenFilesStayAsTheyAreAndEveryAnswerIsRight) {
  const std::chrono::seconds length(number_of("KORVANE_SOAK_SECONDS", 10));
  const std::uint32_t seed = number_of("KORVANE_SOAK_SEED", std::random_device{}());
  std::cout << "KORVANE_SOAK_SEED=" << seed << " KORVANE_SOAK_SECONDS=" << length.count() << '\n';

  const TemporaryFolder folder;
  ServedProgram server(folder.path().string());
  std::size_t files_at_rest = 0;
  Latencies latencies;
  std::vector<double> resident;
  {
    HttpClient opener(server.port());
    for (std::size_t i = 0; i < kProjects; ++i) {
      ASSERT_EQ(opener.call(kManager, "open", {{"filename", project_file(i)}}).status, 200);
    }
    files_at_rest = server.open_files() - 1;  // without this connection
  }
  {
    std::vector<std::unique_ptr<Client>> clients;
    for (std::size_t i = 0; i < kClients; ++i) {
      clients.push_back(std::make_unique<Client>(server, i, seed + static_cast<std::uint32_t>(i)));
    }
    const auto end = Clock::now() + length;
    std::vector<std::thread> threads;
    for (const auto& client : clients) {
      threads.emplace_back([&, &client = *client] {
        try {
          while (Clock::now() < end && !testing::Test::HasFailure()) client.turn();
        } catch (const std::exception& error) {
          ADD_FAILURE() << error.what();
        }
      });
    }
    const auto between_samples = std::min<Clock::duration>(length / 100, std::chrono::seconds(1));
    while (Clock::now() < end && !testing::Test::HasFailure()) {
      std::this_thread::sleep_for(between_samples);
      resident.push_back(static_cast<double>(server.resident_bytes()) / (1024 * 1024));
    }
    for (std::thread& thread : threads) thread.join();
    for (const auto& client : clients) latencies.add(client->latencies());
  }
  ASSERT_FALSE(HasFailure());

  latencies.print();
  // The first half is for the pools and caches to fill.
  const auto quarter = static_cast<std::ptrdiff_t>(resident.size() / 4);
  const double before = median({resident.begin() + 2 * quarter, resident.begin() + 3 * quarter});
  const double after = median({resident.begin() + 3 * quarter, resident.end()});
  std::cout << latencies.count() << " calls; resident "
            << median({resident.begin(), resident.begin() + quarter})
            << " MiB in the first quarter, " << before << " in the third, " << after
            << " in the last\n";
  // What the allocator keeps moves a little, in a short run more.
  const bool is_long = length >= std::chrono::minutes(10);
  EXPECT_LT(after, is_long ? 1.05 * before + 4 : 1.25 * before + 16);

  const auto give_up = Clock::now() + std::chrono::seconds(20);
  while (server.open_files() > files_at_rest && Clock::now() < give_up) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_LE(server.open_files(), files_at_rest);
  EXPECT_EQ(server.stop(), 0);
}

}  // namespace
}  // namespace korvane::test
