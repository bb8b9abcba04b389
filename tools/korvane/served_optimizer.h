#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace korvane::tools {

/// Gives projects their indexes (sqlite/optimize.h) while a server has them open: one after another,
/// on a thread of its own, so that no call waits for its turn. Where others hold a lock it asks
/// again later, ever more rarely. Says in the log what it has done, and what it cannot do.
class ServedOptimizer {
 public:
  ServedOptimizer();
  ServedOptimizer(const ServedOptimizer&) = delete;
  ServedOptimizer& operator=(const ServedOptimizer&) = delete;
  /// Takes back what is not done.
  ~ServedOptimizer();

  /// Any thread may call it. Does not wait.
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
  std::atomic<bool> is_stopping_ = false;
  std::thread thread_;
};

}  // namespace korvane::tools
