// Storing the lines of a schedule, beside plain SQLite doing the same in the same run.
//
//   Add<Lines>/Store    the operation with the whole batch
//   Add<Lines>/Plain    the same rows by the C API: statements parsed once, one transaction, the
//                       bytes of `raw` encoded beforehand; with treatments, the same look-ups
//
// The argument is the number of lines. Both sides own the batch, and destroying it counts as their
// time.

#include <stdexcept>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/bench.h"
#include "bench/report.h"
#include "bench/stored_project.h"

namespace korvane::bench {
namespace {

/// The values of a row but its id, as SQL literals.
template <class T>
std::string first_row(const StoredProject& project) {
  std::string values;
  for (const std::string& column : insert_spec(model::tables::table_of<T>()).columns) {
    values += (values.empty() ? "quote(" : "||','||quote(") + column + ")";
  }
  const Connection connection(project.filename());
  Prepared select(connection, "select " + values + " from " + std::string(Content<T>::table));
  if (!select.step()) throw std::logic_error("no row was added");
  return select.text(0);
}

/// A baseline is only valid if it writes the same row as the store.
template <class T>
bool check_same_rows() {
  StoredProject project;
  std::vector<T> records = {Content<T>::record(project)};
  if constexpr (std::is_same_v<T, Rebar>) records = {Content<T>::treated_record(project)};
  Content<T>::add(project.service(), {records});
  const std::string by_store = first_row<T>(project);
  project.empty_content();
  PlainInsert<T>().add(Connection(project.filename()), records, encoded(records));
  if (first_row<T>(project) != by_store) throw std::logic_error("the baseline's row differs");
  return true;
}

template <class T>
void add_by_store(benchmark::State& state, T (*record)(const StoredProject&)) {
  StoredProject project;
  for (auto _ : state) {
    project.empty_content();
    Batch<T> batch;
    batch.items.assign(static_cast<std::size_t>(state.range(0)), record(project));
    state.SetIterationTime(
        seconds_of([&] { Content<T>::add(project.service(), std::move(batch)); }));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class T>
void add_by_plain_sqlite(benchmark::State& state, T (*record)(const StoredProject&)) {
  [[maybe_unused]] static const bool is_same = check_same_rows<T>();
  StoredProject project;
  const PlainInsert<T> insert;
  const Connection connection(project.filename());
  // The store's connection has read the schema as well.
  connection.run("select count(*) from end_treatment");
  for (auto _ : state) {
    project.empty_content();
    std::vector<T> batch;
    batch.assign(static_cast<std::size_t>(state.range(0)), record(project));
    const std::vector<bond::blob> raw = encoded(batch);
    const auto add = [&](const std::vector<T>& records) { insert.add(connection, records, raw); };
    state.SetIterationTime(seconds_of([&] {
      const std::vector<T> records = std::move(batch);
      add(records);
    }));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class T>
void register_pair(const std::string& name, T (*record)(const StoredProject&),
                   const std::vector<std::int64_t>& sizes) {
  // A million bars are enough for one iteration, and five of them for a median.
  constexpr std::int64_t kLarge = 1'000'000;
  for (const std::int64_t size : sizes) {
    for (const bool is_store : {true, false}) {
      auto* const scenario =
          benchmark::RegisterBenchmark((name + (is_store ? "/Store" : "/Plain")).c_str(),
                                       is_store ? add_by_store<T> : add_by_plain_sqlite<T>, record);
      scenario->UseManualTime()->Unit(benchmark::kMillisecond)->ArgName("lines")->Arg(size);
      if (size == kLarge) scenario->Iterations(1)->Repetitions(5);
    }
  }
}

bool register_all() {
  constexpr double kGoal = 1.25;
  const std::vector<std::int64_t> sizes = {100, 1000, 10'000, 100'000, 1'000'000};
  register_pair<Rebar>("AddRebar", Content<Rebar>::record, sizes);
  register_pair<Rebar>("AddTreatedRebar", Content<Rebar>::treated_record, {100, 10'000, 100'000});
  register_pair<Fabric>("AddFabric", Content<Fabric>::record, {10'000});
  register_pair<BarSpacer>("AddBarSpacer", Content<BarSpacer>::record, {10'000});
  register_pair<MountingPart>("AddMountingPart", Content<MountingPart>::record, {10'000});
  Comparison bars{"add_rebar", "AddRebar/Store", "AddRebar/Plain", kGoal};
  bars.goals_at = {{"lines:1000000", 1.15}};
  compare({bars,
           {"add_rebar, end treatments", "AddTreatedRebar/Store", "AddTreatedRebar/Plain"},
           {"add_fabric", "AddFabric/Store", "AddFabric/Plain", kGoal},
           {"add_barspacer", "AddBarSpacer/Store", "AddBarSpacer/Plain", kGoal},
           {"add_mountingpart", "AddMountingPart/Store", "AddMountingPart/Plain", kGoal}});
  return compare_spread(
      {"add_rebar: growth of the ratio", "AddRebar/Store", "AddRebar/Plain", 1.10});
}

[[maybe_unused]] const bool is_registered = register_all();

}  // namespace
}  // namespace korvane::bench
