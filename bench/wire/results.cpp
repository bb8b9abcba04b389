#include "bench/wire/results.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <grpcpp/grpcpp.h>
#include <stdexcept>
#include <thread>

#include <nlohmann/json.hpp>
#include <sqlite3.h>

#include "bench/machine.h"

namespace korvane::bench::wire {

namespace {

double part(const Sample& sample, Measure measure) {
  switch (measure) {
    case Measure::median:
      return sample.median;
    case Measure::p99:
      return sample.p99;
    case Measure::calls_per_second:
      return sample.calls_per_second;
  }
  throw std::logic_error("no such measure");
}

const char* unit_of(Measure measure) {
  return measure == Measure::calls_per_second ? "calls/s" : "s";
}

bool is_met(const Figure& figure, double ratio) {
  return figure.measure == Measure::calls_per_second ? ratio >= *figure.goal
                                                     : ratio <= *figure.goal;
}

/// "gRPC", or "in the process + /healthz/live" where there is more than one.
std::string beside(const Figure& figure) {
  std::string text;
  for (const Series& series : figure.beside) {
    if (!text.empty()) text += " + ";
    const bool is_own = series.server == figure.series.server;
    text += is_own ? series.work : series.server;
  }
  return text;
}

}  // namespace

void Results::add(const Series& series, const Sample& sample) {
  if (samples_.empty()) load_at_start_ = machine_load();
  std::vector<Sample>& all = samples_[series];
  if (all.empty()) order_.push_back(series);
  all.push_back(sample);
}

Results::Value Results::value_of(const Series& series, Measure measure) const {
  std::vector<double> all;
  for (const Sample& sample : samples_.at(series)) all.push_back(part(sample, measure));
  std::ranges::sort(all);
  return {(all[(all.size() - 1) / 2] + all[all.size() / 2]) / 2,
          measure == Measure::calls_per_second ? all.back() : all.front()};
}

std::optional<Results::Ratio> Results::ratio_of(const Figure& figure) const {
  Value baseline;
  for (const Series& series : figure.beside) {
    if (!samples_.contains(series)) return std::nullopt;
    const Value value = value_of(series, figure.measure);
    baseline.median += value.median;
    baseline.best += value.best;
  }
  if (!samples_.contains(figure.series)) return std::nullopt;
  const Value value = value_of(figure.series, figure.measure);
  return Ratio{value.median, baseline.median, value.median / baseline.median,
               value.best / baseline.best};
}

void Results::print(const std::vector<Figure>& figures) const {
  std::printf("\n%-34s %11s %-15s %10s %10s %12s\n", "work", "connections", "of", "median", "p99",
              "calls/s");
  for (const Series& series : order_) {
    const double calls = value_of(series, Measure::calls_per_second).median;
    std::printf("%-34s %11d %-15s %10s %10s %12s\n", series.work.c_str(), series.connections,
                series.server.c_str(),
                readable(value_of(series, Measure::median).median, "s").c_str(),
                readable(value_of(series, Measure::p99).median, "s").c_str(),
                calls > 0.0 ? formatted("%.0f", calls).c_str() : "");
  }
  constexpr const char* kFormat = "%-44s %13s %13s %8s %8s %7s  %-3s  %s\n";
  std::printf("\n");
  std::printf(kFormat, "work", "korvane", "beside", "ratio", "best", "goal", "met", "beside is");
  for (const Figure& figure : figures) {
    const std::optional<Ratio> ratio = ratio_of(figure);
    if (!ratio) continue;
    const bool is_least = figure.measure == Measure::calls_per_second;
    std::printf(
        kFormat, figure.work.c_str(), readable(ratio->value, unit_of(figure.measure)).c_str(),
        readable(ratio->baseline, unit_of(figure.measure)).c_str(),
        formatted("%.3f", ratio->of_medians).c_str(), formatted("%.3f", ratio->of_best).c_str(),
        figure.goal ? formatted(is_least ? ">=%.3g" : "<=%.3g", *figure.goal).c_str() : "",
        !figure.goal ? "" : (is_met(figure, ratio->of_medians) ? "yes" : "NO"),
        beside(figure).c_str());
  }
  std::printf("\nload of the machine: %.2f before, %.2f after\n", load_at_start_, machine_load());
}

void Results::write(const std::string& filename, const std::vector<Figure>& figures) const {
  using Json = nlohmann::ordered_json;
  Json results;
  results["date"] = today();
  results["machine"] = {{"cores", std::thread::hardware_concurrency()},
                        {"compiler", compiler()},
                        {"sqlite", sqlite3_libversion()},
                        {"grpc", grpc::Version()},
                        {"load_before", rounded(load_at_start_)},
                        {"load_after", rounded(machine_load())}};
  results["rounds"] = samples_.empty() ? 0 : samples_.begin()->second.size();
  results["calls"] = Json::array();
  for (const Series& series : order_) {
    Json one = {{"work", series.work},
                {"connections", series.connections},
                {"server", series.server},
                {"median", rounded(value_of(series, Measure::median).median)},
                {"p99", rounded(value_of(series, Measure::p99).median)}};
    const double calls = value_of(series, Measure::calls_per_second).median;
    if (calls > 0.0) one["per_second"] = rounded(calls);
    results["calls"].push_back(std::move(one));
  }
  results["figures"] = Json::array();
  for (const Figure& figure : figures) {
    const std::optional<Ratio> ratio = ratio_of(figure);
    if (!ratio) continue;
    Json one = {{"work", figure.work},
                {"beside", beside(figure)},
                {"korvane", rounded(ratio->value)},
                {"baseline", rounded(ratio->baseline)},
                {"unit", unit_of(figure.measure)},
                {"ratio", rounded(ratio->of_medians)},
                {"ratio_of_best", rounded(ratio->of_best)}};
    if (figure.goal) {
      one["goal"] = *figure.goal;
      one["met"] = is_met(figure, ratio->of_medians);
    }
    results["figures"].push_back(std::move(one));
  }
  std::ofstream file(filename);
  file << results.dump(1) << '\n';
  if (!file.flush()) throw std::runtime_error("cannot write " + filename);
}

}  // namespace korvane::bench::wire
