#include "tools/korvane/served_optimizer.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <optional>

#include "host/memory/call_memory.h"
#include "host/memory/memory_pool.h"
#include "host/plugins/failure_text.h"
#include "host/watch/json_log.h"
#include "sqlite/database.h"
#include "sqlite/optimize.h"

namespace korvane::tools {

namespace {

using std::chrono::milliseconds;

/// A commit that waits for readers keeps new ones out for as long.
constexpr milliseconds kWaitForLocks(50);
constexpr milliseconds kWaitForSmallFile(100);

}  // namespace

ServedOptimizer::ServedOptimizer(const OptimizerLimits& limits)
    : limits_(limits), thread_([this] { work(); }) {}

ServedOptimizer::~ServedOptimizer() {
  {
    const std::lock_guard lock(mutex_);
    is_stopping_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void ServedOptimizer::add(const std::string& file) {
  std::unique_lock lock(mutex_);
  const bool is_next = !is_busy_ && tasks_.empty();
  tasks_[file] = {Clock::now(), limits_.first_pause};
  changed_.notify_all();
  if (!is_next) return;
  changed_.wait_for(lock, kWaitForSmallFile,
                    [&, before = attempts_] { return attempts_ != before || is_stopping_; });
}

void ServedOptimizer::work() {
  std::unique_lock lock(mutex_);
  while (!is_stopping_) {
    const auto next = std::min_element(
        tasks_.begin(), tasks_.end(),
        [](const auto& left, const auto& right) { return left.second.at < right.second.at; });
    if (next == tasks_.end()) {
      changed_.wait(lock);
      continue;
    }
    if (const Clock::time_point at = next->second.at; at > Clock::now()) {
      changed_.wait_until(lock, at);
      continue;
    }
    const auto [file, task] = *next;
    tasks_.erase(next);
    is_busy_ = true;
    lock.unlock();
    const bool is_done = optimize(file);
    lock.lock();
    is_busy_ = false;
    ++attempts_;
    changed_.notify_all();
    // Who was added anew meanwhile is tried at once.
    if (is_done || tasks_.count(file) != 0) continue;
    const milliseconds next_pause = std::min(task.pause * 2, limits_.longest_pause);
    if (next_pause == limits_.longest_pause && task.pause != next_pause) {
      host::log_event("not yet optimized: others hold locks on " + file + "; it is tried again");
    }
    tasks_[file] = {Clock::now() + task.pause, next_pause};
  }
}

bool ServedOptimizer::optimize(const std::string& file) const {
  sqlite::OptimizeOptions options;
  options.wait = kWaitForLocks;
  options.are_pages_checked = false;
  const Clock::time_point end = Clock::now() + limits_.most_time;
  options.is_stopped = [this, end] { return is_stopping_.load() || Clock::now() > end; };
  host::MemoryPool pool("indexes that are made", limits_.most_memory * 2);
  host::CallMemory memory(pool, "", limits_.most_memory);
  try {
    const sqlite::OptimizeResult result = [&] {
      const host::CallMemory::Scope counted(memory);
      return sqlite::optimize_file(file, options);
    }();
    if (result.indexes_after != result.indexes_before) host::log_event("optimized " + file);
    return true;
  } catch (const sqlite::DatabaseError& failure) {
    const int code = failure.code() & 0xFF;
    if (code == SQLITE_BUSY) return false;
    const bool is_too_large = memory.refusal() != host::CallMemory::Refusal::none ||
                              (code == SQLITE_INTERRUPT && !is_stopping_);
    if (is_too_large) {
      host::log_event("not optimized: " + file +
                      " is too large to be beside calls; use korvane optimize");
    } else if (code != SQLITE_INTERRUPT) {
      host::log_event("not optimized: " + std::string(failure.what()));
    }
  } catch (const std::exception& failure) {
    host::log_event("not optimized: " + host::failure_text(failure));
  }
  return true;
}

}  // namespace korvane::tools
