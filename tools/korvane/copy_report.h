#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace korvane::tools {

/// What there is of copies at the end of a round.
struct CopyCounts {
  std::size_t current = 0;
  /// Changed since they were copied, and not tried again yet.
  std::size_t behind = 0;
  /// Could not be copied when it was tried last.
  std::size_t failing = 0;
  /// Copies that somebody else has written to.
  std::size_t written_elsewhere = 0;
  /// Copies whose project is gone.
  std::size_t without_project = 0;
};

/// What is measured of the copies of one folder of projects.
struct CopyReport {
  CopyCounts counts;
  /// For how long the copies have not shown all of their projects, at most: the longest of them.
  std::chrono::nanoseconds lag{0};
  /// Copies that were written so far, and their bytes.
  std::uint64_t written = 0;
  std::uint64_t written_bytes = 0;
  std::uint64_t failed = 0;
  /// Time of the last round over all projects, and when it ended.
  std::chrono::nanoseconds round_time{0};
  std::chrono::system_clock::time_point round_end;
};

/// The reports for Prometheus, in its text format, each with the label `label` of its name.
std::string metrics_text(std::string_view label, const std::map<std::string, CopyReport>& reports);

/// A report on its way to a server, and back. Throws std::exception for a text that is none.
std::string report_text(const CopyReport& report);
CopyReport report_of(std::string_view text);

}  // namespace korvane::tools
