// Calls over the loopback, to the program and to its peers, each in a process of its own, and in
// this process.
//
//   korvane_wire [--results=FILE] [--rounds=N] [--work=TEXT]
//
// In every round all servers take turns at each work, and begin in another order: closed loops over
// 1, 8 and 64 connections, then as many calls a second as half of the most that this round has
// seen, then a small read beside clients that take large replies. Printed are medians of the
// rounds. The first round warms all of them and does not count.
//
// --work takes only works whose name has the text. KORVANE_BENCH_PROGRAM names another program to
// call.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include <boost/log/core.hpp>

#include "bench/wire/load.h"
#include "bench/wire/readers.h"
#include "bench/wire/results.h"
#include "bench/wire/servers.h"
#include "host/memory/heap.h"

namespace korvane::bench::wire {
namespace {

using namespace std::chrono_literals;
using Milliseconds = std::chrono::milliseconds;

constexpr Milliseconds kClosedLoop = 200ms;
constexpr Milliseconds kOpenLoop = 500ms;
constexpr int kOpenConnections = 64;
constexpr int kReaders = 16;

/// Works by the names of their tables.
const std::string kLive = "/healthz/live";
const std::string kEcho = "echo";
const std::string kSheet = "get_sheet";
const std::string kMaterialList = "list_materials of 1,000";
const std::string kAdd = "add_rebar of 1,000";
const std::string kGet = "get_rebars of 1,000";
const std::string kHalf = "get_sheet, half load";
const std::string kBesideSlow = "get_sheet, 16 slow readers";
const std::string kBesideLarge = "get_sheet, 16 large replies";

struct Work {
  std::string name;
  Operation operation;
  std::vector<int> connections;
  /// Of each connection; 0 for a closed loop by time.
  int calls = 0;
};

const std::vector<Work>& works() {
  static const std::vector<Work> all = {
      {kEcho, Operation::live, {1}},
      {kLive, Operation::live, {1}},
      {kSheet, Operation::get_sheet, {1, 8, 64}},
      {kMaterialList, Operation::list_materials, {1, 8, 64}},
      {kAdd, Operation::add_rebar, {1}, 4},
      {kAdd, Operation::add_rebar, {8}, 1},
      {kGet, Operation::get_rebars, {1}},
      {kGet, Operation::get_rebars, {8}},
  };
  return all;
}

/// The goals, and what else is worth a line.
std::vector<Figure> figures() {
  const auto median = [](std::string work, Series of, std::vector<Series> to,
                         std::optional<double> goal = std::nullopt) {
    return Figure{std::move(work), Measure::median, std::move(of), std::move(to), goal};
  };
  const auto own = [](const std::string& work, const char* server, int connections = 1) {
    return Series{work, connections, server};
  };
  std::vector<Figure> all = {
      median("get_sheet", own(kSheet, name::binary),
             {own(kSheet, name::in_process), own(kLive, name::binary)}, 1.25),
      median("get_sheet", own(kSheet, name::binary), {own(kSheet, name::grpc)}, 0.5),
      median("get_sheet, JSON", own(kSheet, name::json), {own(kSheet, name::node)}),
      median("get_sheet", own(kSheet, name::binary), {own(kEcho, name::echo)}),
  };
  for (const int connections : {8, 64}) {
    const std::string suffix = ", " + std::to_string(connections) + " connections";
    all.push_back({"get_sheet" + suffix,
                   Measure::calls_per_second,
                   own(kSheet, name::binary, connections),
                   {own(kSheet, name::grpc, connections)},
                   1.5});
    all.push_back({"get_sheet, JSON" + suffix,
                   Measure::calls_per_second,
                   own(kSheet, name::json, connections),
                   {own(kSheet, name::node, connections)}});
  }
  for (const std::string& work : {kMaterialList, kAdd, kGet}) {
    const bool is_batch = work != kMaterialList;
    const auto goal = [&](double value) { return is_batch ? std::optional(value) : std::nullopt; };
    const Series binary = own(work, name::binary);
    const Series json = own(work, name::json);
    const Series in_process = own(work, name::in_process);
    all.push_back(median(work, binary, {in_process}, goal(1.25)));
    all.push_back(median(work, binary, {own(work, name::grpc)}, goal(0.5)));
    all.push_back(median(work + ", JSON", json, {in_process}, goal(2.5)));
    all.push_back(median(work + ", JSON", json, {own(work, name::node)}, goal(0.4)));
  }
  const Series half = own(kHalf, name::binary, kOpenConnections);
  all.push_back({"get_sheet, 99th percentile at half load",
                 Measure::p99,
                 half,
                 {own(kHalf, name::grpc, kOpenConnections)},
                 1.0});
  all.push_back({"get_sheet, 99th percentile at half load",
                 Measure::p99,
                 half,
                 {own(kHalf, name::node, kOpenConnections)}});
  const Series quiet = own(kSheet, name::binary);
  all.push_back(median(kBesideSlow, own(kBesideSlow, name::binary), {quiet}, 1.1));
  all.push_back(
      {kBesideSlow + ", 99th percentile", Measure::p99, own(kBesideSlow, name::binary), {quiet}});
  all.push_back(median(kBesideLarge, own(kBesideLarge, name::binary), {quiet}));
  all.push_back(
      median(kBesideLarge + ", gRPC", own(kBesideLarge, name::grpc), {own(kSheet, name::grpc)}));
  return all;
}

class Rounds {
 public:
  explicit Rounds(std::string filter) : filter_(std::move(filter)) {
    for (const auto& server : started_) servers_.push_back(server.get());
  }

  void run(int count) {
    for (int round = 0; round <= count; ++round) {
      is_counted_ = round > 0;
      most_per_second_.clear();
      const auto start = std::chrono::steady_clock::now();
      for (const Work& work : works()) run(work);
      run_half_load();
      run_beside(kBesideSlow, Readers::Speed::slow, kLargeProject);
      run_beside(kBesideLarge, Readers::Speed::full, kProjects - 1);
      std::rotate(servers_.begin(), servers_.begin() + 1, servers_.end());
      const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
      std::printf("round %d of %d: %.1f s\n", round, count, time.count());
      std::fflush(stdout);
    }
  }

  const Results& results() const { return results_; }

 private:
  /// Each connection has a project of its own as long as there are enough.
  static Connect to(Server& server) {
    return [&server](int connection) { return server.connect(connection % kProjects); };
  }

  static bool takes_part(const Server& server, const Work& work, int connections) {
    const std::string server_name = server.name();
    if (work.name == kEcho || server_name == name::echo) {
      return work.name == kEcho && server_name == name::echo;
    }
    if (work.name == kLive) return server_name == name::binary;
    return connections == 1 || server_name != name::in_process;
  }

  bool is_wanted(const std::string& work) const { return work.find(filter_) != std::string::npos; }

  void run(const Work& work) {
    if (!is_wanted(work.name)) return;
    for (const int connections : work.connections) {
      for (Server* const server : servers_) {
        if (!takes_part(*server, work, connections)) continue;
        const Sample sample =
            work.operation == Operation::add_rebar
                ? batches(to(*server), connections, work.operation, Operation::clear, work.calls)
                : closed_loop(to(*server), connections, work.operation, kClosedLoop);
        add({work.name, connections, server->name()}, sample);
        if (work.operation != Operation::get_sheet) continue;
        double& most = most_per_second_[server->name()];
        most = std::max(most, sample.calls_per_second);
      }
    }
  }

  void run_half_load() {
    if (!is_wanted(kHalf)) return;
    for (Server* const server : servers_) {
      const auto most = most_per_second_.find(server->name());
      if (most == most_per_second_.end() || server->name() == name::in_process) continue;
      add({kHalf, kOpenConnections, server->name()},
          open_loop(to(*server), kOpenConnections, Operation::get_sheet, most->second / 2,
                    kOpenLoop));
    }
  }

  /// A small read over one connection, while readers take the bars of `project`.
  void run_beside(const std::string& work, Readers::Speed speed, int project) {
    if (!is_wanted(work)) return;
    for (Server* const server : servers_) {
      const bool is_taking_part = server->name() == name::binary ||
                                  (speed == Readers::Speed::full && server->name() == name::grpc);
      if (!is_taking_part) continue;
      const Connect to_readers = [&](int) { return server->connect(project); };
      const Readers readers(to_readers, kReaders, speed);
      add({work, 1, server->name()},
          closed_loop(to(*server), 1, Operation::get_sheet, kClosedLoop));
    }
  }

  void add(const Series& series, const Sample& sample) {
    if (is_counted_) results_.add(series, sample);
  }

  std::string filter_;
  std::vector<std::unique_ptr<Server>> started_ = start_servers();
  std::vector<Server*> servers_;
  std::map<std::string, double> most_per_second_;
  bool is_counted_ = false;
  Results results_;
};

struct Options {
  std::string results;
  std::string work;
  int rounds = 15;
};

Options options_of(int argc, char** argv) {
  Options options;
  for (const std::string& argument : std::vector<std::string>(argv + 1, argv + argc)) {
    const std::string name = argument.substr(0, argument.find('=') + 1);
    const std::string value = argument.substr(name.size());
    if (name == "--results=") {
      // Absolute, as the current folder changes.
      options.results = std::filesystem::absolute(value).string();
    } else if (name == "--rounds=") {
      options.rounds = std::stoi(value);
    } else if (name == "--work=") {
      options.work = value;
    } else {
      throw std::invalid_argument("unknown option " + argument);
    }
  }
  return options;
}

}  // namespace
}  // namespace korvane::bench::wire

int main(int argc, char** argv) {
  using namespace korvane::bench::wire;
  // As the server does; it serves the call in this process just as well.
  korvane::host::keep_freed_memory();
  boost::log::core::get()->set_logging_enabled(false);
  try {
    const Options options = options_of(argc, argv);
    Rounds rounds(options.work);
    rounds.run(options.rounds);
    rounds.results().print(figures());
    if (!options.results.empty()) rounds.results().write(options.results, figures());
    return 0;
  } catch (const std::exception& failure) {
    std::cerr << "korvane_wire: " << failure.what() << '\n';
    return 1;
  }
}
