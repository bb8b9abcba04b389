#pragma once

#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "bench/wire/load.h"

namespace korvane::bench::wire {

/// What was called, over how many connections, and of whom.
struct Series {
  std::string work;
  int connections = 1;
  std::string server;

  auto operator<=>(const Series&) const = default;
};

enum class Measure { median, p99, calls_per_second };

/// A figure of the closing table.
struct Figure {
  std::string work;
  Measure measure = Measure::median;
  Series series;
  /// Their values are added up.
  std::vector<Series> beside;
  /// The most that the ratio may be; of calls a second the least.
  std::optional<double> goal = std::nullopt;
};

/// The samples of all rounds.
class Results {
 public:
  void add(const Series& series, const Sample& sample);

  void print(const std::vector<Figure>& figures) const;
  /// As JSON: medians of the rounds of every series, and those of `figures` of which all was
  /// measured.
  void write(const std::string& filename, const std::vector<Figure>& figures) const;

 private:
  /// Of all rounds.
  struct Value {
    double median = 0.0;
    /// The least time, or the most calls a second.
    double best = 0.0;
  };
  struct Ratio {
    double value = 0.0;
    double baseline = 0.0;
    double of_medians = 0.0;
    double of_best = 0.0;
  };

  Value value_of(const Series& series, Measure measure) const;
  /// Nothing if one of the series was not measured.
  std::optional<Ratio> ratio_of(const Figure& figure) const;

  std::map<Series, std::vector<Sample>> samples_;
  /// In the order of their first samples.
  std::vector<Series> order_;
  double load_at_start_ = 0.0;
};

}  // namespace korvane::bench::wire
