#pragma once

#include <cstdint>

/// Allocations that fail on demand, those of `new` and SQLite's own. Programs that link this have
/// `failing_memory.cpp` among their sources: it replaces the process's `new`, and SQLite's
/// allocator before anything else uses it.
namespace korvane::test {

/// Whose allocations fail.
enum class Allocator { kNew, kSqlite };

/// How far a failure reaches: that allocation only, or all later ones of that allocator as well.
enum class Shortage { kOneAllocation, kAllAllocations };

/// While it lives, the `nth` allocation of this thread, counted from one, fails, and those after it
/// if `shortage` says so. One at a time.
class FailingMemory {
 public:
  FailingMemory(Allocator allocator, Shortage shortage, int nth);
  FailingMemory(const FailingMemory&) = delete;
  FailingMemory& operator=(const FailingMemory&) = delete;
  ~FailingMemory();

  /// Whether an allocation has failed.
  bool has_failed() const;
};

/// Allocations that succeeded and have not been freed, in the whole process.
struct LiveAllocations {
  std::int64_t of_new = 0;
  std::int64_t of_sqlite = 0;

  bool operator==(const LiveAllocations&) const = default;
};
LiveAllocations live_allocations();

}  // namespace korvane::test
