// A bar from JSON and to it, beside RapidJSON with the same text and no record at all.
//
//   ReadJson/Rebar/Korvane     the text into a new bar, which goes again
//   ReadJson/Rebar/RapidJSON   the text into a new tree, which goes again
//   WriteJson/Rebar/Korvane    the bar into a new text
//   WriteJson/Rebar/RapidJSON  the tree into a new text
//
// The library has its defaults: texts are not checked to be UTF-8, and numbers may be inexact.

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <string>

#include <benchmark/benchmark.h>

#include "bench/bench.h"
#include "bench/report.h"
#include "contracts/cad/rebar.h"
#include "contracts/encoding/json.h"

namespace korvane::bench {
namespace {

using model::cad::Rebar;

void read_korvane(benchmark::State& state) {
  const std::string text = encoding::to_json(typical<Rebar>());
  for (auto _ : state) {
    const auto bar = encoding::from_json<Rebar>(text);
    benchmark::DoNotOptimize(&bar);
  }
}

void read_rapidjson(benchmark::State& state) {
  const std::string text = encoding::to_json(typical<Rebar>());
  for (auto _ : state) {
    rapidjson::Document tree;
    tree.Parse(text.data(), text.size());
    benchmark::DoNotOptimize(&tree);
  }
}

void write_korvane(benchmark::State& state) {
  const auto bar = typical<Rebar>();
  for (auto _ : state) {
    const std::string text = encoding::to_json(bar);
    benchmark::DoNotOptimize(text.data());
  }
}

void write_rapidjson(benchmark::State& state) {
  rapidjson::Document tree;
  const std::string text = encoding::to_json(typical<Rebar>());
  tree.Parse(text.data(), text.size());
  for (auto _ : state) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    tree.Accept(writer);
    benchmark::DoNotOptimize(buffer.GetString());
  }
}

BENCHMARK(read_korvane)->Name("ReadJson/Rebar/Korvane");
BENCHMARK(read_rapidjson)->Name("ReadJson/Rebar/RapidJSON");
BENCHMARK(write_korvane)->Name("WriteJson/Rebar/Korvane");
BENCHMARK(write_rapidjson)->Name("WriteJson/Rebar/RapidJSON");

constexpr double kGoal = 1.6;

[[maybe_unused]] const bool is_compared = compare(
    {{"read a bar's JSON", "ReadJson/Rebar/Korvane", "ReadJson/Rebar/RapidJSON", kGoal},
     {"write a bar's JSON", "WriteJson/Rebar/Korvane", "WriteJson/Rebar/RapidJSON", kGoal}});

}  // namespace
}  // namespace korvane::bench
