#pragma once

#include <functional>

namespace korvane::test {

/// Counts how often SQLite waits for a lock and opens a file. SQLite waits by sleeping a little and
/// trying again; on connections that are opened while this lives it calls `on_wait` instead, so
/// that waiting takes no time. One at a time; these connections must be closed before it is
/// destroyed.
class WaitWatch {
 public:
  explicit WaitWatch(std::function<void()> on_wait = {});
  WaitWatch(const WaitWatch&) = delete;
  WaitWatch& operator=(const WaitWatch&) = delete;
  ~WaitWatch();

  /// How often it would have slept, and how many files it has tried to open.
  int waits() const;
  int openings() const;
};

}  // namespace korvane::test
