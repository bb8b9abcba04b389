// Runs the benchmarks, and prints the ratios of those that belong together. Times alone mean little
// on a shared machine.

#include <cstdint>
#include <fstream>
#include <iostream>
#include <map>
#include <stdexcept>

#include <benchmark/benchmark.h>
#include <boost/log/core.hpp>
#include <nlohmann/json.hpp>

#include "bench/bench.h"
#include "contracts/encoding/record_codec.h"

namespace korvane::bench {

using model::cad::Rebar;

namespace {

Ratios& all_ratios() {
  static Ratios ratios;
  return ratios;
}

std::string bytes_from_hex(const std::string& hex) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

/// Prints the usual table, keeps the median of each scenario, and prints the ratios last.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      const bool is_median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      if (!is_median && run.repetitions > 1) continue;
      medians_[run.run_name.function_name][run.run_name.args] = run.GetAdjustedRealTime();
    }
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    std::cout << "\nRatios of the medians:\n";
    for (const auto& [scenario, baseline] : all_ratios()) print(scenario, baseline);
  }

 private:
  void print(const std::string& scenario, const std::string& baseline) {
    for (const auto& [arguments, time] : medians_[scenario]) {
      const auto base = medians_[baseline].find(arguments);
      if (base == medians_[baseline].end()) continue;
      std::cout << "  " << scenario << " / " << baseline << " " << arguments << ": "
                << time / base->second << '\n';
    }
  }

  std::map<std::string, std::map<std::string, double>> medians_;
};

}  // namespace

Rebar typical_bar() {
  std::ifstream lines(KORVANE_TEST_DATA "/encoding/typical.jsonl");
  for (std::string line; std::getline(lines, line);) {
    const auto vector = nlohmann::json::parse(line);
    if (vector["struct"] != "Rebar") continue;
    const std::string bytes = bytes_from_hex(vector["hex"].get<std::string>());
    return korvane::encoding::decode<Rebar>(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
  }
  throw std::runtime_error("no typical bar");
}

bool compare(const Ratios& ratios) {
  all_ratios().insert(all_ratios().end(), ratios.begin(), ratios.end());
  return true;
}

}  // namespace korvane::bench

int main(int argc, char** argv) {
  boost::log::core::get()->set_logging_enabled(false);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  korvane::bench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}
