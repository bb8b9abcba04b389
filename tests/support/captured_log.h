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

/// Takes the lines that the process logs while this lives, and keeps them off its output.
class CapturedLog {
 public:
  CapturedLog();
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;
  ~CapturedLog();

  /// All lines so far. Not while another thread logs.
  const LogLines& lines() const;
  /// The lines of that severity, texts alone.
  std::vector<std::wstring> texts(int severity) const;
  void clear();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace korvane::test
