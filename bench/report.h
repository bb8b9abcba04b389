#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

/// The closing table: what was measured, beside its baseline of the same run.
namespace korvane::bench {

/// One ratio for every set of arguments that both benchmarks have.
struct Comparison {
  /// As the table calls it: "add_rebar".
  std::string work;
  /// Names of benchmarks, "AddRebar/Store" and "AddRebar/Plain".
  std::string scenario;
  std::string baseline;
  /// The ratio that is met up to here.
  std::optional<double> goal = std::nullopt;
  /// Counters of the two that are compared instead of their times, in this unit.
  std::string counter = {};
  std::string baseline_counter = {};
  std::string unit = {};
  /// Where the goal is another one, by arguments.
  std::map<std::string, double> goals_at = {};
};

/// One figure of several arguments: the largest of their ratios by the smallest. It is 1 when a
/// scenario's cost grows as its baseline's does.
struct Spread {
  std::string work;
  std::string scenario;
  std::string baseline;
  std::optional<double> goal = std::nullopt;
};

/// How a scenario's time grows: its own smallest arguments are the baseline of the others.
struct Growth {
  std::string work;
  std::string scenario;
  std::optional<double> goal = std::nullopt;
};

/// Called when the program is loaded; the table has the lines of each list in its order. Return
/// true, so that a constant can be made of it.
bool compare(const std::vector<Comparison>& comparisons);
bool compare_spread(const Spread& spread);
bool compare_growth(const std::vector<Growth>& growths);

/// Keeps the median and the least of each benchmark's repetitions, and prints the closing table
/// last. Processor time is what counts for a benchmark that asks for no other.
class Report : public benchmark::BenchmarkReporter {
 public:
  Report();

  bool ReportContext(const Context& context) override;
  /// Prints a line for each benchmark as it is done.
  void ReportRuns(const std::vector<Run>& runs) override;

  /// To be called when all benchmarks have run.
  void print_table() const;
  /// The table as JSON, with the date and what is to be known of the machine.
  void write(const std::string& filename) const;

 private:
  /// Numbers in arguments stand in their order.
  struct ByLength {
    bool operator()(const std::string& left, const std::string& right) const {
      return std::pair(left.size(), left) < std::pair(right.size(), right);
    }
  };
  /// Of all repetitions.
  struct Measured {
    double median = 0.0;
    double least = 0.0;
  };
  /// Under the names of counters; the time, in seconds, under "".
  using Values = std::map<std::string, Measured>;
  using ByArguments = std::map<std::string, Values, ByLength>;

  struct Figure {
    std::string work;
    std::string arguments;
    /// Medians.
    double value = 0.0;
    double baseline = 0.0;
    /// "s" for times, or what is counted.
    std::string unit;
    double ratio = 0.0;
    /// That of the fastest repetitions. Where it is far from the other, the machine was busy.
    double least_ratio = 0.0;
    std::optional<double> goal;

    bool is_met() const { return !goal || ratio <= *goal; }
  };

  std::vector<Figure> figures() const;
  void add(const Comparison& comparison, std::vector<Figure>& figures) const;
  void add(const Spread& spread, std::vector<Figure>& figures) const;
  void add(const Growth& growth, std::vector<Figure>& figures) const;
  const ByArguments& measured(const std::string& benchmark) const;

  std::map<std::string, ByArguments> measured_;
  double load_at_start_ = 0.0;
};

}  // namespace korvane::bench
