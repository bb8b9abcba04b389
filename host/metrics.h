#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

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

  /// Counts one request. `operation` is of a fixed set: every value makes a series of its own.
  void served(const std::string& operation, int status, std::chrono::nanoseconds duration);

  /// What is read when it is asked for.
  struct Levels {
    std::size_t queued_calls = 0;
    std::size_t open_projects = 0;
    std::size_t connections = 0;
  };

  std::string text(const Levels& levels);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace korvane::host
