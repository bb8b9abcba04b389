// One record to bytes and back, beside Protocol Buffers with a message of the same fields.
//
//   Encode/<contract>/Korvane     a record into bytes of their own
//   Encode/<contract>/Protobuf    the message into a new string
//   Decode/<contract>/Korvane     the same bytes into a new record, which goes again
//   Decode/<contract>/Protobuf    the message's bytes into a new message, which goes again; without
//                                 an arena, as a record has none
//
// Counted beside the time of encoding: what `new` was asked for, and what of it the growth of the
// output alone takes.

#include <benchmark/benchmark.h>

#include "bench/bench.h"
#include "bench/memory.h"
#include "bench/protobuf_message.h"
#include "bench/report.h"
#include "bench/schedule.pb.h"
#include "bond/output_buffer.h"
#include "contracts/cad/contracts.describe.h"
#include "contracts/encoding/record_codec.h"

namespace korvane::bench {
namespace {

using namespace model::cad;

template <class T>
void encode_korvane(benchmark::State& state) {
  const T record = typical<T>();
  for (auto _ : state) {
    const bond::blob bytes = encoding::encode(record);
    benchmark::DoNotOptimize(bytes.data());
  }
  const bond::blob bytes = encoding::encode(record);
  state.counters["bytes"] = bytes.size();
  {
    const AllocationCount count;
    benchmark::DoNotOptimize(encoding::encode(record).data());
    state.counters["allocations"] = static_cast<double>(count.allocations());
  }
  {
    const AllocationCount count;
    bond::OutputBuffer output;
    output.Write(bytes);
    benchmark::DoNotOptimize(output.GetBuffer().data());
    state.counters["growths"] = static_cast<double>(count.allocations());
  }
}

template <class T, class Message>
void encode_protobuf(benchmark::State& state) {
  const auto message = message_of<Message>(typical<T>());
  for (auto _ : state) {
    std::string bytes;
    message.SerializeToString(&bytes);
    benchmark::DoNotOptimize(bytes.data());
  }
  state.counters["bytes"] = static_cast<double>(message.ByteSizeLong());
}

template <class T>
void decode_korvane(benchmark::State& state) {
  const bond::blob bytes = encoding::encode(typical<T>());
  for (auto _ : state) {
    const T record = encoding::decode<T>(bytes);
    benchmark::DoNotOptimize(&record);
  }
}

template <class T, class Message>
void decode_protobuf(benchmark::State& state) {
  const std::string bytes = message_of<Message>(typical<T>()).SerializeAsString();
  for (auto _ : state) {
    Message message;
    message.ParseFromArray(bytes.data(), static_cast<int>(bytes.size()));
    benchmark::DoNotOptimize(&message);
  }
}

/// Protocol Buffers take 1.5 times as long.
constexpr double kGoal = 0.667;

template <class T, class Message>
bool register_contract(const std::string& name) {
  const std::string encode = "Encode/" + name;
  const std::string decode = "Decode/" + name;
  benchmark::RegisterBenchmark((encode + "/Korvane").c_str(), encode_korvane<T>);
  benchmark::RegisterBenchmark((encode + "/Protobuf").c_str(), encode_protobuf<T, Message>);
  benchmark::RegisterBenchmark((decode + "/Korvane").c_str(), decode_korvane<T>);
  benchmark::RegisterBenchmark((decode + "/Protobuf").c_str(), decode_protobuf<T, Message>);
  return compare({{"encode " + name, encode + "/Korvane", encode + "/Protobuf", kGoal},
                  {"decode " + name, decode + "/Korvane", decode + "/Protobuf", kGoal},
                  {"encode " + name + ": allocations", encode + "/Korvane", encode + "/Korvane",
                   1.0, "allocations", "growths", "new"}});
}

[[maybe_unused]] const bool is_registered =
    register_contract<Rebar, proto::Rebar>("Rebar") &&
    register_contract<Material, proto::Material>("Material") &&
    register_contract<Sheet, proto::Sheet>("Sheet");

}  // namespace
}  // namespace korvane::bench
