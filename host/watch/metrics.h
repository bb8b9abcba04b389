#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace korvane::host {

/// What a server measures of itself, in the text format of Prometheus
/// (https://prometheus.io/docs/instrumenting/exposition_formats/). Every function may be called
/// from every thread.
class Metrics {
 public:
  Metrics();
  Metrics(const Metrics&) = delete;
  Metrics& operator=(const Metrics&) = delete;
  ~Metrics();

  /// What requests of one kind count as.
  class Requests;

  /// Those of an operation, which is of a fixed set: every value makes a series of its own, from its
  /// first request on. Valid as long as this lives.
  Requests& requests(std::string_view operation);
  /// Counts one request.
  void served(Requests& requests, int status, std::chrono::nanoseconds duration);

  /// What is read when it is asked for.
  struct Levels {
    std::size_t queued_calls = 0;
    std::size_t open_projects = 0;
    std::size_t connections = 0;
    std::chrono::nanoseconds oldest_call{0};
    /// By what they are held for.
    std::map<std::string, std::uint64_t> held_bytes;
    std::uint64_t lost_log_lines = 0;
  };

  /// All of it, with what the system knows of the process (`process_…`, as Prometheus's own clients
  /// name it) and what was built.
  std::string text(const Levels& levels);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace korvane::host
