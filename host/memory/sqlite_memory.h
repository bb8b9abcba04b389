#pragma once

namespace korvane::host {

/// Asked by SQLite's allocator on whichever thread it is called. Both must not throw.
struct SqliteMemoryObserver {
  /// Whether SQLite may take so many bytes more; it fails for want of memory where not.
  bool (*take)(int bytes) noexcept;
  void (*give_back)(int bytes) noexcept;
};

/// Puts `observer` before SQLite's own allocator, for the life of the process. Call it before
/// anything else of SQLite's. Returns one of its result codes: SQLITE_MISUSE when it is too late.
int observe_sqlite_memory(const SqliteMemoryObserver& observer);

}  // namespace korvane::host
