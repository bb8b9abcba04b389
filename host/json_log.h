#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "platform/log/log.h"

namespace korvane::host {

/// A line that was logged: its numeric severity and its text, unchanged.
struct LogLine {
  int severity = 0;
  std::string message;
};

/// Takes the lines that the calling thread logs while it lives; the sink below does not write them.
/// They go into `lines`. One at a time in a thread.
class LineCollector {
 public:
  explicit LineCollector(std::vector<LogLine>& lines);
  LineCollector(const LineCollector&) = delete;
  LineCollector& operator=(const LineCollector&) = delete;
  ~LineCollector();
};

/// Writes the process's log lines while it lives, one JSON object a line:
/// {"time":"2026-11-21T13:00:00.000000Z","severity":0,"message":"…"}. A line of the severity
/// `request` is a JSON object itself and is written as it is.
class JsonLogSink {
 public:
  /// Lines below `minimum` are not written, nor their pieces evaluated. `output` outlives the sink.
  JsonLogSink(krv::log::severity_level minimum, std::ostream& output);
  JsonLogSink(const JsonLogSink&) = delete;
  JsonLogSink& operator=(const JsonLogSink&) = delete;
  ~JsonLogSink();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// The present time as such a line tells it, in UTC.
std::string log_time();

/// Logs a line of the severity `request`: `object` is a JSON object on one line.
void log_object(const std::string& object);

/// Logs what the server itself does as such a line, {"time":"…","message":"…"}.
void log_event(const std::string& message);

}  // namespace korvane::host
