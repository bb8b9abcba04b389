// Opening a project, beside SQLite's C API making the same file.
//
//   OpenNew/Store         the service of a file that is not there: it makes the tables
//   OpenNew/Plain         the file opened, the same tables made in one transaction
//   OpenExisting/Store    the service of a file that is there
//   OpenExisting/Plain    the file opened
//
// Both sides turn foreign keys on. Times are those on the wall; closing is not among them.

#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/bench.h"
#include "bench/plain_sqlite.h"
#include "bench/report.h"
#include "bench/stored_project.h"
#include "model/plugins/korvane.model.cad.project/schema.h"

namespace korvane::bench {
namespace {

/// Times the making of an `Opened` by `open(filename)`; what it made goes untimed.
template <class Open>
double seconds_to_open(const std::string& filename, Open open) {
  decltype(open(filename)) opened;
  return wall_seconds_of([&] { opened = open(filename); });
}

std::unique_ptr<Project_Service_Impl> open_by_store(const std::string& filename) {
  return std::make_unique<Project_Service_Impl>(0, filename);
}

std::unique_ptr<Connection> open_by_plain_sqlite(const std::string& filename) {
  return std::make_unique<Connection>(filename);
}

void open_new_by_store(benchmark::State& state) {
  for (auto _ : state) {
    const ScratchFile file;
    state.SetIterationTime(seconds_to_open(file.name(), open_by_store));
  }
}

void open_new_by_plain_sqlite(benchmark::State& state) {
  const SchemaBuilder schema = project_schema();
  std::vector<std::string> tables;
  for (const TableSpec& table : schema.tables()) {
    tables.push_back(create_table_sql(table));
  }
  for (auto _ : state) {
    const ScratchFile file;
    state.SetIterationTime(seconds_to_open(file.name(), [&](const std::string& filename) {
      auto connection = open_by_plain_sqlite(filename);
      connection->run("BEGIN");
      for (const std::string& table : tables) connection->run(table);
      connection->run("COMMIT");
      return connection;
    }));
  }
}

void open_existing_by_store(benchmark::State& state) {
  const StoredProject project;
  for (auto _ : state) {
    state.SetIterationTime(seconds_to_open(project.filename(), open_by_store));
  }
}

void open_existing_by_plain_sqlite(benchmark::State& state) {
  const StoredProject project;
  for (auto _ : state) {
    state.SetIterationTime(seconds_to_open(project.filename(), open_by_plain_sqlite));
  }
}

BENCHMARK(open_new_by_store)->Name("OpenNew/Store")->UseManualTime();
BENCHMARK(open_new_by_plain_sqlite)->Name("OpenNew/Plain")->UseManualTime();
BENCHMARK(open_existing_by_store)->Name("OpenExisting/Store")->UseManualTime();
BENCHMARK(open_existing_by_plain_sqlite)->Name("OpenExisting/Plain")->UseManualTime();

constexpr double kGoal = 1.2;

[[maybe_unused]] const bool is_compared =
    compare({{"open, new file", "OpenNew/Store", "OpenNew/Plain", kGoal},
             {"open, existing file", "OpenExisting/Store", "OpenExisting/Plain", kGoal}});

}  // namespace
}  // namespace korvane::bench
