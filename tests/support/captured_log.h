#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace korvane::test {

/// One line of the process's log.
struct LogLine {
  int severity = -1;
  std::wstring text;

  bool operator==(const LogLine&) const = default;
};
using LogLines = std::vector<LogLine>;

void PrintTo(const LogLine& line, std::ostream* stream);

/// Captures the lines that the process logs while this lives; they are not printed.
class CapturedLog {
 public:
  CapturedLog();
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;
  ~CapturedLog();

  /// All lines so far. Not while another thread logs.
  const LogLines& lines() const;
  /// The texts of the lines of that severity.
  std::vector<std::wstring> texts(int severity) const;
  void clear();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace korvane::test
