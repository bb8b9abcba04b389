#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace korvane::tools {

/// What indexes may cost those who call a server meanwhile.
struct OptimizerLimits {
  /// Between two attempts at a file on which others hold a lock: doubled each time up to the longest.
  /// An attempt waits a twentieth of a second, and is one look into the file more: every five
  /// minutes nobody notices it, and indexes that come five minutes late cost nobody much.
  std::chrono::milliseconds first_pause{500};
  std::chrono::milliseconds longest_pause = std::chrono::minutes(5);
  /// What the indexes of one file may take, which writers wait for and all of which are in memory
  /// until they are committed. Those of some million bars take less.
  std::chrono::milliseconds most_time = std::chrono::seconds(30);
  std::uint64_t most_memory = std::uint64_t{256} << 20U;
};

/// Gives projects their indexes (sqlite/optimize.h) while a server has them open: one after another,
/// on a thread of its own. Where others hold a lock it asks again later, ever more rarely, for as long
/// as the server runs. Says in the log what it has done, what it cannot do, and once of a file that
/// the locks have lasted until the longest pause.
class ServedOptimizer {
 public:
  explicit ServedOptimizer(const OptimizerLimits& limits = {});
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

  const OptimizerLimits limits_;
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
