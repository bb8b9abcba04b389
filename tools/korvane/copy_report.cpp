#include "tools/korvane/copy_report.h"

#include <functional>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <nlohmann/json.hpp>

#include "tools/korvane/shallow_json.h"

namespace korvane::tools {

namespace {

using Json = nlohmann::json;
using Seconds = std::chrono::duration<double>;

constexpr std::array<std::pair<const char*, std::size_t CopyCounts::*>, 5> kStates = {
    {{"current", &CopyCounts::current},
     {"behind", &CopyCounts::behind},
     {"failing", &CopyCounts::failing},
     {"written_elsewhere", &CopyCounts::written_elsewhere},
     {"without_project", &CopyCounts::without_project}}};

struct Figure {
  /// Without "korvane_": so it is named in a report, too.
  const char* name;
  const char* type;
  const char* help;
  std::function<double(const CopyReport&)> get;
  std::function<void(CopyReport&, double)> set;
};

std::chrono::nanoseconds time_of(double seconds) {
  constexpr double kMost = 8e9;  // from 1970 on, in the year 2223
  if (!(seconds >= 0) || seconds > kMost) throw std::runtime_error("no time");
  return std::chrono::duration_cast<std::chrono::nanoseconds>(Seconds(seconds));
}

Figure time_figure(const char* name, const char* help, std::chrono::nanoseconds CopyReport::*time) {
  return {name, "gauge", help,
          [=](const CopyReport& report) { return Seconds(report.*time).count(); },
          [=](CopyReport& report, double value) { report.*time = time_of(value); }};
}

Figure count_figure(const char* name, const char* help, std::uint64_t CopyReport::*count) {
  constexpr double kMost = 1e18;
  return {name, "counter", help,
          [=](const CopyReport& report) { return static_cast<double>(report.*count); },
          [=](CopyReport& report, double value) {
            if (!(value >= 0) || value > kMost) throw std::runtime_error("no count");
            report.*count = static_cast<std::uint64_t>(value);
          }};
}

const std::array<Figure, 6>& figures() {
  static const std::array<Figure, 6> all = {
      time_figure("copy_lag_seconds",
                  "How long the copies have not shown all of their projects, at most.",
                  &CopyReport::lag),
      count_figure("copies_written_total", "Copies that were written.", &CopyReport::written),
      count_figure("copied_bytes_total", "Bytes of the copies that were written.",
                   &CopyReport::written_bytes),
      count_figure("copy_failures_total", "Copies that failed.", &CopyReport::failed),
      time_figure("copy_round_seconds", "Time of the last round over all projects.",
                  &CopyReport::round_time),
      {"copy_last_round_seconds", "gauge",
       "When the last round over all projects ended, in seconds since 1970.",
       [](const CopyReport& report) {
         return Seconds(report.round_end.time_since_epoch()).count();
       },
       [](CopyReport& report, double value) {
         report.round_end = std::chrono::system_clock::time_point(
             std::chrono::duration_cast<std::chrono::system_clock::duration>(time_of(value)));
       }}};
  return all;
}

/// As Prometheus has the value of a label.
std::string label_text(const std::string& value) {
  std::string text;
  for (const char c : value) {
    if (c == '\\' || c == '"') text += '\\';
    if (c == '\n') {
      text += "\\n";
    } else {
      text += c;
    }
  }
  return text;
}

}  // namespace

std::string metrics_text(std::string_view label, const std::map<std::string, CopyReport>& reports) {
  std::ostringstream text;
  text.precision(16);
  if (reports.empty()) return {};
  const auto begin = [&](const char* name, const char* type, const char* help) {
    text << "# HELP korvane_" << name << ' ' << help << "\n# TYPE korvane_" << name << ' ' << type
         << '\n';
  };
  for (const Figure& figure : figures()) {
    begin(figure.name, figure.type, figure.help);
    for (const auto& [name, report] : reports) {
      text << "korvane_" << figure.name << '{' << label << "=\"" << label_text(name) << "\"} "
           << figure.get(report) << '\n';
    }
  }
  begin("copies", "gauge", "Projects by the state of their copies.");
  for (const auto& [name, report] : reports) {
    for (const auto& [state, count] : kStates) {
      text << "korvane_copies{state=\"" << state << "\"," << label << "=\"" << label_text(name)
           << "\"} " << report.counts.*count << '\n';
    }
  }
  return std::move(text).str();
}

std::string report_text(const CopyReport& report) {
  Json json;
  for (const Figure& figure : figures()) json[figure.name] = figure.get(report);
  for (const auto& [state, count] : kStates) json["copies"][state] = report.counts.*count;
  return json.dump();
}

CopyReport report_of(std::string_view text) {
  const Json json = shallow_json(text);
  CopyReport report;
  for (const Figure& figure : figures()) {
    figure.set(report, json.at(figure.name).get<double>());
  }
  for (const auto& [state, count] : kStates) {
    report.counts.*count = json.at("copies").at(state).get<std::size_t>();
  }
  return report;
}

}  // namespace korvane::tools
