#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace korvane::tools {

/// Gives projects their indexes (sqlite/optimize.h) while a server has them open: one after another,
/// on a thread of its own. Where others hold a lock it asks again later, ever more rarely. Says in
/// the log what it has done, and what it cannot do.
class ServedOptimizer {
 public:
  ServedOptimizer();
  ServedOptimizer(const ServedOptimizer&) = delete;
  ServedOptimizer& operator=(const ServedOptimizer&) = delete;
  /// Takes back what is not done.
  ~ServedOptimizer();

  /// Any thread may call it. Waits a tenth of a second at most: a small file has its indexes before
  /// the first call on it, which thus meets no lock of ours.
  void add(const std::string& file);

 private:
  using Clock = std::chrono::steady_clock;

  struct Task {
    Clock::time_point at;
    std::chrono::milliseconds pause;
  };

  void work();
  /// Whether it is done, or never will be.
  bool optimize(const std::string& file) const;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::map<std::string, Task> tasks_;
  /// Whether a file is worked on, and how many times one was.
  bool is_busy_ = false;
  std::size_t attempts_ = 0;
  std::atomic<bool> is_stopping_ = false;
  std::thread thread_;
};

}  // namespace korvane::tools
