#pragma once

#include <chrono>
#include <functional>

namespace korvane::host {

/// How statements wait for another program's lock on a file: those of one call together, as long as
/// they may. Used by one thread.
class LockWait {
 public:
  using Clock = std::chrono::steady_clock;

  /// Waits for `most` altogether, and not beyond `end`. A statement that has waited a moment gives
  /// way where `others_wait` says so; it may be empty.
  LockWait(Clock::time_point end, std::chrono::milliseconds most,
           std::function<bool()> others_wait);

  /// Sleeps before the lock is tried again, for the `attempt`-th time after the first. False when
  /// the statement must fail.
  bool wait(int attempt);

  /// Whether the time was over in the middle of a wait.
  bool has_taken_all_time() const { return has_taken_all_time_; }
  bool has_given_way() const { return has_given_way_; }

 private:
  const Clock::time_point end_;
  const std::chrono::milliseconds most_;
  const std::function<bool()> others_wait_;
  Clock::time_point since_;
  std::chrono::milliseconds waited_{0};
  bool has_taken_all_time_ = false;
  bool has_given_way_ = false;
};

/// The same outside of all calls: for a minute, as sessions of the data layer's do.
bool wait_for_lock(int attempt);

}  // namespace korvane::host
