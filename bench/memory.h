#pragma once

#include <cstddef>
#include <cstdint>

namespace korvane::bench {

/// Counts what the process asks `new` for and gives back to `delete` while it lives. One at a time.
/// SQLite's memory is not among it: `sqlite3_memory_highwater` tells of that.
class AllocationCount {
 public:
  AllocationCount();
  AllocationCount(const AllocationCount&) = delete;
  AllocationCount& operator=(const AllocationCount&) = delete;
  ~AllocationCount();

  std::size_t allocations() const;
  /// Bytes that have been given and not given back, as the allocator rounds them.
  std::int64_t live_bytes() const;
  /// The most that were live at a time.
  std::int64_t peak_bytes() const;
};

}  // namespace korvane::bench
