// What the tables as they stand make grow, and what the indexes of `korvane optimize` make of it.
// As the tables stand there is no goal, only how the time of the same work rises with what else lies
// in the file.
//
//   GetFewRebars        get_rebars of a revision of 100 bars: no index on rev_id, so all bars are
//                       looked at
//   DeleteMaterial      delete_material of one that no bar uses: no index on material_id, so all
//                       bars are looked at before it may go
//   AddNewTreatments    add_rebar of 1,000 bars with an end treatment each, none alike: each is
//                       looked for among all that are there
//   AddToFile           add_rebar of 1,000 bars: what the indexes cost
//   AddTreatedToFile    the same of bars with two end treatments, which are there
//
// Each is a pair, …/Plain and …/Indexed. The argument is the number of bars in the file; of
// AddNewTreatments, that of treatments.

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/bench.h"
#include "bench/report.h"
#include "bench/schedule_file.h"
#include "bench/stored_project.h"
#include "sqlite/optimize.h"

namespace korvane::bench {
namespace {

void get_few_rebars(benchmark::State& state, Indexes indexes) {
  ScheduleFile& file = ScheduleFile::of(state.range(0), indexes);
  for (auto _ : state) {
    Batch<Rebar> reply;
    state.SetIterationTime(
        seconds_of([&] { file.project().service().get_rebars(file.small_revision(), reply); }));
    benchmark::DoNotOptimize(reply.items.data());
  }
  state.counters["bytes"] =
      static_cast<double>(std::filesystem::file_size(file.project().filename()));
}

void delete_material(benchmark::State& state, Indexes indexes) {
  Project_Service_Impl& service = ScheduleFile::of(state.range(0), indexes).project().service();
  for (auto _ : state) {
    MaterialRef unused;
    service.create_material({}, unused);
    GenericReply reply;
    state.SetIterationTime(seconds_of([&] { service.delete_material(unused, reply); }));
  }
}

Rebar treated_bar(const StoredProject& project, std::int64_t number) {
  Rebar bar = Content<Rebar>::treated_record(project);
  bar.end_treatment_start.set().comment = "treatment " + std::to_string(number);
  return bar;
}

void add_new_treatments(benchmark::State& state, Indexes indexes) {
  constexpr std::int64_t kBars = 1000;
  StoredProject project;
  if (indexes == Indexes::added) sqlite::optimize_file(project.filename());
  const Connection connection(project.filename());
  for (auto _ : state) {
    project.empty_content();
    connection.run("BEGIN");
    {
      PlainTreatments treatments(connection);
      for (std::int64_t i = 0; i < state.range(0); ++i) {
        treatments.insert(*treated_bar(project, i).end_treatment_start);
      }
    }
    connection.run("COMMIT");
    Batch<Rebar> batch;
    for (std::int64_t i = 0; i < kBars; ++i) {
      batch.items.push_back(treated_bar(project, state.range(0) + i));
    }
    state.SetIterationTime(
        seconds_of([&] { Content<Rebar>::add(project.service(), std::move(batch)); }));
  }
}

template <Rebar (*kRecord)(const StoredProject&)>
void add_to_file(benchmark::State& state, Indexes indexes) {
  constexpr std::size_t kBars = 1000;
  StoredProject& project = ScheduleFile::of(state.range(0), indexes).project();
  const Connection connection(project.filename());
  const std::vector<Rebar> bars(kBars, kRecord(project));
  // The treatments are there from the first on.
  Content<Rebar>::add(project.service(), {bars});
  for (auto _ : state) {
    connection.run("delete from rebar where id > " + std::to_string(state.range(0)));
    Batch<Rebar> batch{bars};
    state.SetIterationTime(
        seconds_of([&] { Content<Rebar>::add(project.service(), std::move(batch)); }));
  }
  connection.run("delete from rebar where id > " + std::to_string(state.range(0)));
}

using Scenario = void (*)(benchmark::State&, Indexes);

void register_pair(const std::string& name, Scenario scenario, const std::string& argument,
                   const std::vector<std::int64_t>& arguments) {
  for (const auto& [suffix, indexes] :
       {std::pair("/Plain", Indexes::none), std::pair("/Indexed", Indexes::added)}) {
    auto* const registered =
        benchmark::RegisterBenchmark((name + suffix).c_str(), scenario, indexes);
    registered->UseManualTime()->Unit(benchmark::kMillisecond)->ArgName(argument);
    for (const std::int64_t each : arguments) registered->Arg(each);
  }
}

bool register_all() {
  constexpr double kGrowthGoal = 1.5;
  constexpr double kCostGoal = 1.35;
  const std::vector<std::int64_t> files = {10'000, 100'000, 1'000'000};
  register_pair("GetFewRebars", get_few_rebars, "file", files);
  register_pair("DeleteMaterial", delete_material, "file", files);
  register_pair("AddNewTreatments", add_new_treatments, "treatments", {0, 1000, 10'000});
  register_pair("AddToFile", add_to_file<Content<Rebar>::record>, "file", {10'000, 1'000'000});
  register_pair("AddTreatedToFile", add_to_file<Content<Rebar>::treated_record>, "file",
                {10'000, 1'000'000});
  compare_growth({{"growth: get_rebars of 100", "GetFewRebars/Plain"},
                  {"growth: delete_material", "DeleteMaterial/Plain"},
                  {"growth: 1,000 new treatments", "AddNewTreatments/Plain"},
                  {"indexed: get_rebars of 100", "GetFewRebars/Indexed", kGrowthGoal},
                  {"indexed: delete_material", "DeleteMaterial/Indexed", kGrowthGoal},
                  {"indexed: 1,000 new treatments", "AddNewTreatments/Indexed", kGrowthGoal}});
  return compare(
      {{"indexed: add_rebar of 1,000", "AddToFile/Indexed", "AddToFile/Plain", kCostGoal},
       {"indexed: add_rebar, treatments", "AddTreatedToFile/Indexed", "AddTreatedToFile/Plain",
        kCostGoal},
       {"indexed: size of the file", "GetFewRebars/Indexed", "GetFewRebars/Plain", std::nullopt,
        "bytes", "bytes", "B"}});
}

[[maybe_unused]] const bool is_registered = register_all();

}  // namespace
}  // namespace korvane::bench
