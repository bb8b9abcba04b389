#include "bench/report.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <google/protobuf/stubs/common.h>
#include <iostream>
#include <stdexcept>
#include <thread>
#include <variant>

#include <nlohmann/json.hpp>
#include <sqlite3.h>

namespace korvane::bench {

namespace {

using Line = std::variant<Comparison, Spread, Growth>;

std::vector<Line>& all_lines() {
  static std::vector<Line> lines;
  return lines;
}

/// Programs that wanted a processor during the last minute.
double machine_load() {
  double load = 0.0;
  return getloadavg(&load, 1) == 1 ? load : -1.0;
}

std::string formatted(const char* format, double value) {
  char text[32];
  std::snprintf(text, sizeof(text), format, value);
  return text;
}

/// Three digits and the unit that suits them.
std::string readable(double value, const std::string& unit) {
  if (unit != "s") return formatted("%.0f ", value) + unit;
  for (const auto& [name, size] : {std::pair{"s", 1.0}, {"ms", 1e-3}, {"us", 1e-6}}) {
    if (value >= size) return formatted("%.3g ", value / size) + name;
  }
  return formatted("%.3g ns", value / 1e-9);
}

std::string today() {
  const auto days = std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now());
  const std::chrono::year_month_day date(days);
  char text[16];
  std::snprintf(text, sizeof(text), "%04d-%02u-%02u", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
  return text;
}

std::string protobuf_version() {
  return google::protobuf::internal::VersionString(GOOGLE_PROTOBUF_VERSION);
}

std::string compiler() {
#if defined(__clang__)
  return std::string("clang ") + __clang_version__;
#else
  return std::string("g++ ") + __VERSION__;
#endif
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

void Report::ReportRuns(const std::vector<Run>& runs) {
  ConsoleReporter::ReportRuns(runs);
  for (const Run& run : runs) {
    if (run.error_occurred) throw std::runtime_error(run.error_message);
    const bool is_median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
    if (!is_median && run.repetitions > 1) continue;
    const bool has_other_time = !run.run_name.time_type.empty();
    const double time = has_other_time ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
    Values& values = medians_[run.run_name.function_name][run.run_name.args];
    values[""] = time / benchmark::GetTimeUnitMultiplier(run.time_unit);
    for (const auto& [name, counter] : run.counters) values[name] = counter.value;
  }
}

const Report::Medians& Report::medians_of(const std::string& benchmark) const {
  static const Medians none;
  const auto found = medians_.find(benchmark);
  return found == medians_.end() ? none : found->second;
}

void Report::add(const Comparison& comparison, std::vector<Figure>& figures) const {
  const bool is_time = comparison.counter.empty();
  const Medians& baselines = medians_of(comparison.baseline);
  for (const auto& [arguments, values] : medians_of(comparison.scenario)) {
    const auto baseline = baselines.find(arguments);
    if (baseline == baselines.end()) continue;
    const double value = values.at(comparison.counter);
    const double measure = baseline->second.at(comparison.baseline_counter);
    figures.push_back({comparison.work, arguments, value, measure, is_time ? "s" : comparison.unit,
                       value / measure, comparison.goal});
  }
}

void Report::add(const Spread& spread, std::vector<Figure>& figures) const {
  std::vector<Figure> ratios;
  add(Comparison{spread.work, spread.scenario, spread.baseline}, ratios);
  if (ratios.size() < 2) return;
  const auto by_ratio = [](const Figure& a, const Figure& b) { return a.ratio < b.ratio; };
  const auto [least, most] = std::minmax_element(ratios.begin(), ratios.end(), by_ratio);
  figures.push_back({spread.work, least->arguments + " to " + most->arguments, most->ratio,
                     least->ratio, "x", most->ratio / least->ratio, spread.goal});
}

void Report::add(const Growth& growth, std::vector<Figure>& figures) const {
  const Medians& medians = medians_of(growth.scenario);
  for (const auto& [arguments, values] : medians) {
    const double smallest = medians.begin()->second.at("");
    figures.push_back({growth.work, arguments, values.at(""), smallest, "s",
                       values.at("") / smallest, std::nullopt});
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
  constexpr const char* kFormat = "%-34s %-34s %12s %12s %8s %6s  %s\n";
  std::printf("\nMedians beside their baselines of this run:\n\n");
  std::printf(kFormat, "work", "arguments", "korvane", "baseline", "ratio", "goal", "met");
  for (const Figure& figure : figures()) {
    const bool is_spread = figure.unit == "x";
    const auto text = [&](double value) {
      return is_spread ? formatted("%.3f x", value) : readable(value, figure.unit);
    };
    std::printf(kFormat, figure.work.c_str(), figure.arguments.c_str(), text(figure.value).c_str(),
                text(figure.baseline).c_str(), formatted("%.3f", figure.ratio).c_str(),
                figure.goal ? formatted("%.3g", *figure.goal).c_str() : "",
                !figure.goal ? "" : (figure.is_met() ? "yes" : "NO"));
  }
  std::printf("\nload of the machine: %.2f before, %.2f after\n", load_at_start_, machine_load());
}

void Report::write(const std::string& filename) const {
  using Json = nlohmann::ordered_json;
  const auto rounded = [](double value, double digits) {
    return std::isfinite(value) && value != 0.0
               ? std::strtod(formatted(digits > 3 ? "%.6g" : "%.3g", value).c_str(), nullptr)
               : 0.0;
  };
  Json results;
  results["date"] = today();
  results["machine"] = {{"cores", std::thread::hardware_concurrency()},
                        {"compiler", compiler()},
                        {"sqlite", sqlite3_libversion()},
                        {"protobuf", protobuf_version()},
                        {"load_before", rounded(load_at_start_, 3)},
                        {"load_after", rounded(machine_load(), 3)}};
  results["figures"] = Json::array();
  for (const Figure& figure : figures()) {
    Json one = {{"work", figure.work},
                {"arguments", figure.arguments},
                {"korvane", rounded(figure.value, 6)},
                {"baseline", rounded(figure.baseline, 6)},
                {"unit", figure.unit},
                {"ratio", rounded(figure.ratio, 6)}};
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
