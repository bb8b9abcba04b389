// Memory: what is allocated at the same time at most, by the size of what has to be there anyway.
//
//   Memory/Add           add_rebar, the batch given to it: by the batch
//   Memory/AddEncoded    the same through the skeleton, the request in Compact Binary: by the bytes
//                        and the batch
//   Memory/Get           get_rebars: by the reply
//   Memory/GetEncoded    the same through the skeleton: by the reply and its bytes
//
//   Memory/Bar           the typical bar itself: by 1,100 bytes, and by a message of Protocol Buffers
//                        with the same fields
//
// Counters are bytes for each bar: `peak` at most, `own` the request or reply itself, that is its
// live bytes when it has no room to spare; `sqlite` is SQLite's own memory, which is in neither.

#include <cstdint>
#include <string_view>
#include <utility>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include "bench/bench.h"
#include "bench/memory.h"
#include "bench/protobuf_message.h"
#include "bench/report.h"
#include "bench/schedule.pb.h"
#include "bench/schedule_file.h"
#include "bench/stored_project.h"
#include "contracts/cad/contracts.describe.h"
#include "contracts/encoding/record_codec.h"

namespace korvane::bench {
namespace {

Batch<Rebar> batch_of(const StoredProject& project, std::int64_t bars) {
  Batch<Rebar> batch;
  batch.items.assign(static_cast<std::size_t>(bars), Content<Rebar>::record(project));
  return batch;
}

/// The bytes that a copy takes: it has no room to spare.
std::int64_t own_bytes(const Batch<Rebar>& batch) {
  const AllocationCount count;
  const Batch<Rebar> copy = batch;
  benchmark::DoNotOptimize(copy.items.data());
  return count.live_bytes();
}

/// Runs `call` and states its peak, with `held` bytes added that were there before, by `own`.
template <class Call>
void state_memory(benchmark::State& state, std::int64_t own, std::int64_t held, Call call) {
  const auto per_bar = [&](std::int64_t bytes) {
    return static_cast<double>(bytes) / static_cast<double>(state.range(0));
  };
  sqlite3_memory_highwater(1);
  const std::int64_t sqlite_before = sqlite3_memory_used();
  const AllocationCount count;
  call();
  state.counters["peak"] = per_bar(held + count.peak_bytes());
  state.counters["own"] = per_bar(own);
  state.counters["sqlite"] = per_bar(sqlite3_memory_highwater(0) - sqlite_before);
}

bond::blob call(Project_Service_Impl& service, std::string_view operation,
                const bond::blob& request) {
  auto* const skeleton = static_cast<Project_Service*>(&service);
  return Project_Service::definition().find(operation)->call(skeleton, request, {});
}

void add(benchmark::State& state) {
  for (auto _ : state) {
    StoredProject project;
    const std::int64_t own = own_bytes(batch_of(project, state.range(0)));
    state_memory(state, own, 0, [&] {
      Content<Rebar>::add(project.service(), batch_of(project, state.range(0)));
    });
  }
}

void add_encoded(benchmark::State& state) {
  for (auto _ : state) {
    StoredProject project;
    const Batch<Rebar> batch = batch_of(project, state.range(0));
    const bond::blob request = encoding::encode(batch);
    state_memory(state, own_bytes(batch) + request.size(), request.size(),
                 [&] { call(project.service(), "add_rebar", request); });
  }
}

void get(benchmark::State& state) {
  StoredProject& project = ScheduleFile::of(state.range(0)).project();
  for (auto _ : state) {
    const std::int64_t own = own_bytes(batch_of(project, state.range(0)));
    state_memory(state, own, 0, [&] {
      Batch<Rebar> reply;
      project.service().get_rebars(project.revision(), reply);
    });
  }
}

void get_encoded(benchmark::State& state) {
  StoredProject& project = ScheduleFile::of(state.range(0)).project();
  const bond::blob request = encoding::encode(project.revision());
  for (auto _ : state) {
    const Batch<Rebar> reply = batch_of(project, state.range(0));
    const std::int64_t own = own_bytes(reply) + encoding::encode(reply).size();
    state_memory(state, own, 0, [&] { call(project.service(), "get_rebars", request); });
  }
}

void bars(benchmark::internal::Benchmark* scenario) {
  scenario->Unit(benchmark::kMillisecond)->ArgName("bars")->Arg(ScheduleFile::kLarge);
  scenario->Iterations(1)->Repetitions(1);
}

void bar(benchmark::State& state) {
  constexpr double kAllowed = 1100;
  const Rebar typical_bar = typical<Rebar>();
  const auto message = message_of<proto::Rebar>(typical_bar);
  for (auto _ : state) {
    const AllocationCount count;
    const Rebar copy = typical_bar;
    benchmark::DoNotOptimize(&copy);
    state.counters["own"] = static_cast<double>(count.live_bytes()) + sizeof(copy);
  }
  state.counters["allowed"] = kAllowed;
  state.counters["message"] = static_cast<double>(message.SpaceUsedLong());
}

BENCHMARK(bar)->Name("Memory/Bar")->Iterations(1)->Repetitions(1);
BENCHMARK(add)->Name("Memory/Add")->Apply(bars);
BENCHMARK(add_encoded)->Name("Memory/AddEncoded")->Apply(bars);
BENCHMARK(get)->Name("Memory/Get")->Apply(bars);
BENCHMARK(get_encoded)->Name("Memory/GetEncoded")->Apply(bars);

Comparison peak(const std::string& work, const std::string& scenario) {
  return {"memory: " + work, scenario, scenario, 1.2, "peak", "own", "B/bar"};
}
Comparison of_sqlite(const std::string& work, const std::string& scenario) {
  return {"memory of SQLite: " + work, scenario, scenario, std::nullopt, "sqlite", "own", "B/bar"};
}

[[maybe_unused]] const bool is_compared =
    compare({{"memory of a typical bar", "Memory/Bar", "Memory/Bar", 1.0, "own", "allowed", "B"},
             {"the same, to Protocol Buffers", "Memory/Bar", "Memory/Bar", std::nullopt, "own",
              "message", "B"},
             peak("add_rebar", "Memory/Add"),
             peak("add_rebar, encoded", "Memory/AddEncoded"),
             peak("get_rebars", "Memory/Get"),
             peak("get_rebars, encoded", "Memory/GetEncoded"),
             of_sqlite("add_rebar", "Memory/Add"),
             of_sqlite("get_rebars", "Memory/Get")});

}  // namespace
}  // namespace korvane::bench
