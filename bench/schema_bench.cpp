// What the tables as they stand make grow: there is no baseline to reach and no goal, only how the
// time of the same work rises with what else lies in the file.
//
//   GetFewRebars        get_rebars of a revision of 100 bars: no index on rev_id, so all bars are
//                       looked at
//   DeleteMaterial      delete_material of one that no bar uses: no index on material_id, so all
//                       bars are looked at before it may go
//   AddNewTreatments    add_rebar of 1,000 bars with an end treatment each, none alike: each is
//                       looked for among all that are there
//
// The argument is the number of bars in the file; of the last, that of treatments.

#include <cstdint>
#include <string>

#include <benchmark/benchmark.h>

#include "bench/bench.h"
#include "bench/report.h"
#include "bench/schedule_file.h"
#include "bench/stored_project.h"

namespace korvane::bench {
namespace {

void get_few_rebars(benchmark::State& state) {
  ScheduleFile& file = ScheduleFile::of(state.range(0));
  for (auto _ : state) {
    Batch<Rebar> reply;
    state.SetIterationTime(
        seconds_of([&] { file.project().service().get_rebars(file.small_revision(), reply); }));
    benchmark::DoNotOptimize(reply.items.data());
  }
}

void delete_material(benchmark::State& state) {
  Project_Service_Impl& service = ScheduleFile::of(state.range(0)).project().service();
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

void add_new_treatments(benchmark::State& state) {
  constexpr std::int64_t kBars = 1000;
  StoredProject project;
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

void files(benchmark::internal::Benchmark* scenario) {
  scenario->UseManualTime()->Unit(benchmark::kMillisecond)->ArgName("file");
  scenario->Arg(10'000)->Arg(100'000)->Arg(1'000'000);
}

void treatments(benchmark::internal::Benchmark* scenario) {
  scenario->UseManualTime()->Unit(benchmark::kMillisecond)->ArgName("treatments");
  scenario->Arg(0)->Arg(1000)->Arg(10'000);
}

BENCHMARK(get_few_rebars)->Name("GetFewRebars")->Apply(files);
BENCHMARK(delete_material)->Name("DeleteMaterial")->Apply(files);
BENCHMARK(add_new_treatments)->Name("AddNewTreatments")->Apply(treatments);

[[maybe_unused]] const bool is_compared =
    compare_growth({{"growth: get_rebars of 100", "GetFewRebars"},
                    {"growth: delete_material", "DeleteMaterial"},
                    {"growth: 1,000 new treatments", "AddNewTreatments"}});

}  // namespace
}  // namespace korvane::bench
