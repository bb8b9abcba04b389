#include "host/access/lock_wait.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <thread>
#include <utility>

namespace korvane::host {

using std::chrono::milliseconds;

namespace {

/// How long a statement waits before it lets others run.
constexpr milliseconds kPoliteWait{50};

/// Short at first.
milliseconds pause_before(int attempt) {
  constexpr std::array kPauses = {1, 2, 5, 10, 15, 20, 25, 25, 25, 50};
  const auto index = static_cast<std::size_t>(std::max(attempt, 0));
  return milliseconds(index < kPauses.size() ? kPauses.at(index) : 100);
}

}  // namespace

LockWait::LockWait(Clock::time_point end, milliseconds most, std::function<bool()> others_wait)
    : end_(end), most_(most), others_wait_(std::move(others_wait)) {}

bool LockWait::wait(int attempt) {
  const auto now = Clock::now();
  if (attempt == 0) since_ = now;
  if (now >= end_) has_taken_all_time_ = true;
  if (has_taken_all_time_ || waited_ >= most_) return false;
  if (now - since_ >= kPoliteWait && others_wait_ && others_wait_()) {
    has_given_way_ = true;
    return false;
  }
  const milliseconds pause = pause_before(attempt);
  std::this_thread::sleep_for(pause);
  waited_ += pause;
  return true;
}

bool wait_for_lock(int attempt) {
  constexpr int kAttemptsInAMinute = 600;
  std::this_thread::sleep_for(pause_before(attempt));
  return attempt < kAttemptsInAMinute;
}

}  // namespace korvane::host
