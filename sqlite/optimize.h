#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace korvane::sqlite {

struct OptimizeOptions {
  /// Whether indexes are removed rather than added.
  bool is_dropping = false;
  /// How long to wait for others' locks.
  std::chrono::milliseconds wait = std::chrono::minutes(1);
  /// Whether all pages are checked first. An index that is made of damage makes it worse.
  bool are_pages_checked = true;
  /// Asked every now and then; once it says true the work is taken back. May be null.
  std::function<bool()> is_stopped;
};

struct OptimizeResult {
  /// Of the indexes with names that are ours (sqlite/indexes.h).
  std::size_t indexes_before = 0;
  std::size_t indexes_after = 0;
  std::int64_t bytes_before = 0;
  std::int64_t bytes_after = 0;
};

/// Adds to a project the indexes of sqlite/indexes.h that it lacks, or removes all that have names
/// of ours; tables and rows stay as they are. One transaction: all of them or none, whoever is
/// killed. Others may read until it is committed, and write before and after. Where there is nothing
/// to do the file is not written. The room of removed indexes stays in the file (sqlite/compact.h).
///
/// Throws DatabaseError, also for locks that are held longer than `wait` and with SQLITE_INTERRUPT
/// once `is_stopped`, and std::runtime_error "no project <file>", "\"<file>\" is not a file",
/// "\"<file>\" is not a korvane project: …" and "\"<file>\" has damage: …".
OptimizeResult optimize_file(const std::string& filename, const OptimizeOptions& options = {});

}  // namespace korvane::sqlite
