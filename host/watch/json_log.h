#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "host/watch/log_writer.h"
#include "platform/log/log.h"

namespace korvane::host {

/// A line that was logged: its numeric severity and its text, unchanged up to 4 KiB.
struct LogLine {
  int severity = 0;
  std::string message;
};

/// Of one call no more lines are kept than these.
inline constexpr std::size_t kMostCollectedLines = 100;

/// Lines that were logged meanwhile: the first hundred, and how many more there were.
struct CollectedLines {
  std::vector<LogLine> lines;
  std::size_t left_out = 0;
};

/// Takes the lines that the calling thread logs while it lives; the sink below does not write them.
/// They go into `lines`. One at a time in a thread.
class LineCollector {
 public:
  explicit LineCollector(CollectedLines& lines);
  LineCollector(const LineCollector&) = delete;
  LineCollector& operator=(const LineCollector&) = delete;
  ~LineCollector();
};

/// Writes the process's log lines while it lives, one JSON object a line:
/// {"time":"2026-11-21T13:00:00.000000Z","severity":0,"message":"…"}. A line of the severity
/// `request` is a JSON object itself and is written as it is. Whoever logs waits for nothing
/// (LogWriter): lines that were lost are told by {"time":"…","message":"…","lost_lines":12}.
class JsonLogSink {
 public:
  /// Lines below `minimum` are not written, nor their pieces evaluated.
  JsonLogSink(krv::log::severity_level minimum, LogWriter::Output output);
  JsonLogSink(const JsonLogSink&) = delete;
  JsonLogSink& operator=(const JsonLogSink&) = delete;
  ~JsonLogSink();

  /// Waits until the lines that were logged are out, for `patience` at most.
  void flush(std::chrono::milliseconds patience);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// A time as such a line tells it, in UTC: the present one.
std::string log_time(std::chrono::system_clock::time_point time = std::chrono::system_clock::now());

/// Logs a line of the severity `request`: `object` is a JSON object on one line.
void log_object(const std::string& object);

/// Logs a line of the severity `request` whose text, a JSON object, is made when it is written.
void log_late(const std::shared_ptr<const LateLine>& line);

/// Logs what the server itself does as such a line, {"time":"…","message":"…"}.
void log_event(const std::string& message);

}  // namespace korvane::host
