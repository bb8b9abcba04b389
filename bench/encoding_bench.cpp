// One record to bytes and back, beside Protocol Buffers with a message of the same fields.
//
//   Encode/<contract>/Korvane     a record into bytes of their own
//   Encode/<contract>/Protobuf    the message into a new string
//   Decode/<contract>/Korvane     the same bytes into a new record, which goes again
//   Decode/<contract>/Protobuf    the message's bytes into a new message, which goes again; without
//                                 an arena, as a record has none
//   Encode/Rebar/Arena            the message, which lies in an arena, into memory that is kept
//   Decode/Rebar/Arena            the same bytes into a message in an arena, whose memory is kept
//   Encode/Rebar/FlatBuffers      an object of FlatBuffers packed by a builder that is kept
//   Decode/Rebar/FlatBuffers      the same bytes unpacked into a new object, which goes again
//
// Counted beside the time of encoding: what `new` was asked for, and what of it the growth of the
// output alone takes.

#include <cstddef>
#include <google/protobuf/arena.h>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/bench.h"
#include "bench/flat_object.h"
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

/// An arena on memory of its own that holds a bar, so that emptying it frees nothing.
class KeptArena {
 public:
  KeptArena() : arena_(memory_.data(), memory_.size()) {}

  proto::Rebar& make() { return *Arena::CreateMessage<proto::Rebar>(&arena_); }
  void empty() { arena_.Reset(); }

 private:
  using Arena = google::protobuf::Arena;

  std::vector<char> memory_ = std::vector<char>(std::size_t{64} * 1024);
  Arena arena_;
};

void encode_in_arena(benchmark::State& state) {
  KeptArena arena;
  proto::Rebar& message = arena.make();
  message.CopyFrom(message_of<proto::Rebar>(typical<Rebar>()));
  std::string bytes;
  for (auto _ : state) {
    message.SerializeToString(&bytes);
    benchmark::DoNotOptimize(bytes.data());
  }
}

void decode_in_arena(benchmark::State& state) {
  const std::string bytes = message_of<proto::Rebar>(typical<Rebar>()).SerializeAsString();
  KeptArena arena;
  for (auto _ : state) {
    proto::Rebar& message = arena.make();
    message.ParseFromArray(bytes.data(), static_cast<int>(bytes.size()));
    benchmark::DoNotOptimize(&message);
    arena.empty();
  }
}

void encode_flat(benchmark::State& state) {
  const flat::RebarT object = flat_of(typical<Rebar>());
  flatbuffers::FlatBufferBuilder builder;
  for (auto _ : state) {
    builder.Clear();
    builder.Finish(flat::Rebar::Pack(builder, &object));
    benchmark::DoNotOptimize(builder.GetBufferPointer());
  }
  state.counters["bytes"] = static_cast<double>(builder.GetSize());
}

void decode_flat(benchmark::State& state) {
  const flat::RebarT packed = flat_of(typical<Rebar>());
  flatbuffers::FlatBufferBuilder builder;
  builder.Finish(flat::Rebar::Pack(builder, &packed));
  for (auto _ : state) {
    flat::RebarT object;
    flatbuffers::GetRoot<flat::Rebar>(builder.GetBufferPointer())->UnPackTo(&object);
    benchmark::DoNotOptimize(&object);
  }
}

/// Of the bar, and of the others, where Protocol Buffers take 1.5 times as long.
constexpr double kGoalOfBar = 0.35;
constexpr double kGoal = 0.667;

template <class T, class Message>
bool register_contract(const std::string& name, double goal = kGoal) {
  const std::string encode = "Encode/" + name;
  const std::string decode = "Decode/" + name;
  benchmark::RegisterBenchmark((encode + "/Korvane").c_str(), encode_korvane<T>);
  benchmark::RegisterBenchmark((encode + "/Protobuf").c_str(), encode_protobuf<T, Message>);
  benchmark::RegisterBenchmark((decode + "/Korvane").c_str(), decode_korvane<T>);
  benchmark::RegisterBenchmark((decode + "/Protobuf").c_str(), decode_protobuf<T, Message>);
  return compare({{"encode " + name, encode + "/Korvane", encode + "/Protobuf", goal},
                  {"decode " + name, decode + "/Korvane", decode + "/Protobuf", goal},
                  {"encode " + name + ": allocations", encode + "/Korvane", encode + "/Korvane",
                   1.0, "allocations", "growths", "new"}});
}

bool register_other_ways() {
  benchmark::RegisterBenchmark("Encode/Rebar/Arena", encode_in_arena);
  benchmark::RegisterBenchmark("Decode/Rebar/Arena", decode_in_arena);
  benchmark::RegisterBenchmark("Encode/Rebar/FlatBuffers", encode_flat);
  benchmark::RegisterBenchmark("Decode/Rebar/FlatBuffers", decode_flat);
  return compare(
      {{"encode Rebar, to an arena", "Encode/Rebar/Korvane", "Encode/Rebar/Arena"},
       {"decode Rebar, to an arena", "Decode/Rebar/Korvane", "Decode/Rebar/Arena"},
       {"encode Rebar, to FlatBuffers", "Encode/Rebar/Korvane", "Encode/Rebar/FlatBuffers"},
       {"decode Rebar, to FlatBuffers", "Decode/Rebar/Korvane", "Decode/Rebar/FlatBuffers"}});
}

[[maybe_unused]] const bool is_registered =
    register_contract<Rebar, proto::Rebar>("Rebar", kGoalOfBar) && register_other_ways() &&
    register_contract<Material, proto::Material>("Material") &&
    register_contract<Sheet, proto::Sheet>("Sheet");

}  // namespace
}  // namespace korvane::bench
