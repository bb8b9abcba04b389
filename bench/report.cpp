#include "bench/report.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <google/protobuf/stubs/common.h>
#include <iostream>
#include <stdexcept>
#include <thread>
#include <variant>

#include <nlohmann/json.hpp>
#include <sqlite3.h>

#include "bench/machine.h"

namespace korvane::bench {

namespace {

using Line = std::variant<Comparison, Spread, Growth>;

std::vector<Line>& all_lines() {
  static std::vector<Line> lines;
  return lines;
}

std::string protobuf_version() {
  return google::protobuf::internal::VersionString(GOOGLE_PROTOBUF_VERSION);
}

}  // namespace

bool compare(const std::vector<Comparison>& comparisons) {
  all_lines().insert(all_lines().end(), comparisons.begin(), comparisons.end());
  return true;
}

bool compare_spread(const Spread& spread) {
  all_lines().emplace_back(spread);
  return true;
}

bool compare_growth(const std::vector<Growth>& growths) {
  all_lines().insert(all_lines().end(), growths.begin(), growths.end());
  return true;
}

Report::Report() : load_at_start_(machine_load()) {}

bool Report::ReportContext(const Context&) { return true; }

void Report::ReportRuns(const std::vector<Run>& runs) {
  std::map<std::string, std::vector<double>> repetitions;
  for (const Run& run : runs) {
    if (run.error_occurred) throw std::runtime_error(run.error_message);
    if (run.run_type != Run::RT_Iteration) continue;
    const bool has_other_time = !run.run_name.time_type.empty();
    const double time = has_other_time ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
    repetitions[""].push_back(time / benchmark::GetTimeUnitMultiplier(run.time_unit));
    for (const auto& [name, counter] : run.counters) repetitions[name].push_back(counter.value);
  }
  if (repetitions.empty()) return;
  const benchmark::BenchmarkName& name = runs.front().run_name;
  Values& values = measured_[name.function_name][name.args];
  for (auto& [counter, all] : repetitions) {
    std::sort(all.begin(), all.end());
    values[counter] = {(all[(all.size() - 1) / 2] + all[all.size() / 2]) / 2, all.front()};
  }
  std::printf("%-34s %-20s %12s median %12s least of %zu\n", name.function_name.c_str(),
              name.args.c_str(), readable(values[""].median, "s").c_str(),
              readable(values[""].least, "s").c_str(), repetitions[""].size());
  std::fflush(stdout);
}

const Report::ByArguments& Report::measured(const std::string& benchmark) const {
  static const ByArguments none;
  const auto found = measured_.find(benchmark);
  return found == measured_.end() ? none : found->second;
}

void Report::add(const Comparison& comparison, std::vector<Figure>& figures) const {
  const bool is_time = comparison.counter.empty();
  const ByArguments& baselines = measured(comparison.baseline);
  for (const auto& [arguments, values] : measured(comparison.scenario)) {
    const auto found = baselines.find(arguments);
    if (found == baselines.end()) continue;
    const Measured value = values.at(comparison.counter);
    const Measured baseline = found->second.at(comparison.baseline_counter);
    const auto goal_here = comparison.goals_at.find(arguments);
    const std::optional<double> goal =
        goal_here == comparison.goals_at.end() ? comparison.goal : goal_here->second;
    figures.push_back({comparison.work, arguments, value.median, baseline.median,
                       is_time ? "s" : comparison.unit, value.median / baseline.median,
                       value.least / baseline.least, goal});
  }
}

void Report::add(const Spread& spread, std::vector<Figure>& figures) const {
  std::vector<Figure> ratios;
  add(Comparison{spread.work, spread.scenario, spread.baseline}, ratios);
  if (ratios.size() < 2) return;
  const auto [least, most] = std::ranges::minmax_element(ratios, {}, &Figure::ratio);
  const auto [fast_least, fast_most] =
      std::ranges::minmax_element(ratios, {}, &Figure::least_ratio);
  figures.push_back({spread.work, least->arguments + " to " + most->arguments, most->ratio,
                     least->ratio, "x", most->ratio / least->ratio,
                     fast_most->least_ratio / fast_least->least_ratio, spread.goal});
}

void Report::add(const Growth& growth, std::vector<Figure>& figures) const {
  const ByArguments& all = measured(growth.scenario);
  for (const auto& [arguments, values] : all) {
    const Measured value = values.at("");
    const Measured smallest = all.begin()->second.at("");
    figures.push_back({growth.work, arguments, value.median, smallest.median, "s",
                       value.median / smallest.median, value.least / smallest.least, growth.goal});
  }
}

std::vector<Report::Figure> Report::figures() const {
  std::vector<Figure> figures;
  for (const Line& line : all_lines()) {
    std::visit([&](const auto& one) { add(one, figures); }, line);
  }
  return figures;
}

void Report::print_table() const {
  constexpr const char* kFormat = "%-34s %-28s %10s %10s %8s %8s %6s  %s\n";
  std::printf(
      "\nMedians beside their baselines of this run, and the ratio of the fastest "
      "repetitions:\n\n");
  std::printf(kFormat, "work", "arguments", "korvane", "baseline", "ratio", "fastest", "goal",
              "met");
  for (const Figure& figure : figures()) {
    const bool is_spread = figure.unit == "x";
    const auto text = [&](double value) {
      return is_spread ? formatted("%.3f x", value) : readable(value, figure.unit);
    };
    std::printf(kFormat, figure.work.c_str(), figure.arguments.c_str(), text(figure.value).c_str(),
                text(figure.baseline).c_str(), formatted("%.3f", figure.ratio).c_str(),
                formatted("%.3f", figure.least_ratio).c_str(),
                figure.goal ? formatted("%.3g", *figure.goal).c_str() : "",
                !figure.goal ? "" : (figure.is_met() ? "yes" : "NO"));
  }
  std::printf("\nload of the machine: %.2f before, %.2f after\n", load_at_start_, machine_load());
}

void Report::write(const std::string& filename) const {
  using Json = nlohmann::ordered_json;
  Json results;
  results["date"] = today();
  results["machine"] = {{"cores", std::thread::hardware_concurrency()},
                        {"compiler", compiler()},
                        {"sqlite", sqlite3_libversion()},
                        {"protobuf", protobuf_version()},
                        {"load_before", rounded(load_at_start_)},
                        {"load_after", rounded(machine_load())}};
  results["figures"] = Json::array();
  for (const Figure& figure : figures()) {
    Json one = {{"work", figure.work},
                {"arguments", figure.arguments},
                {"korvane", rounded(figure.value)},
                {"baseline", rounded(figure.baseline)},
                {"unit", figure.unit},
                {"ratio", rounded(figure.ratio)},
                {"ratio_of_fastest", rounded(figure.least_ratio)}};
    if (figure.goal) {
      one["goal"] = *figure.goal;
      one["met"] = figure.is_met();
    }
    results["figures"].push_back(std::move(one));
  }
  std::ofstream file(filename);
  file << results.dump(1) << '\n';
  if (!file.flush()) throw std::runtime_error("cannot write " + filename);
}

}  // namespace korvane::bench
