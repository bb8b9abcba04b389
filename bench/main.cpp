// Runs the benchmarks and prints the ratios of those that belong together.
//
//   korvane_bench [--results=FILE] [Google Benchmark's own options]
//
// With --results the closing table is written to FILE as JSON too.

#include <filesystem>
#include <iostream>
#include <string>
#include <string_view>

#include <benchmark/benchmark.h>
#include <boost/log/core.hpp>

#include "bench/report.h"
#include "host/memory/heap.h"

namespace {

/// Takes the file's name out of the arguments; empty if there is none.
std::string take_results_file(int& argc, char** argv) {
  constexpr std::string_view kOption = "--results=";
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (!argument.starts_with(kOption)) continue;
    for (int j = i; j + 1 < argc; ++j) argv[j] = argv[j + 1];
    --argc;
    // Absolute, as a scenario changes the current folder.
    return std::filesystem::absolute(argument.substr(kOption.size())).string();
  }
  return {};
}

}  // namespace

int main(int argc, char** argv) {
  // As the server does; it serves the baselines just as well.
  korvane::host::keep_freed_memory();
  boost::log::core::get()->set_logging_enabled(false);
  const std::string results = take_results_file(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  korvane::bench::Report report;
  benchmark::RunSpecifiedBenchmarks(&report);
  report.print_table();
  if (!results.empty()) report.write(results);
  return 0;
}
