#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace korvane::sqlite {

struct CompactResult {
  std::int64_t bytes_before = 0;
  std::int64_t bytes_after = 0;
  /// Whether the file says now in its header that it is a project. Not where it says to be
  /// something else.
  bool has_application_id = false;
};

/// Writes a project anew without the room that removed rows have left, and gives it its application
/// id. Page size and journal mode stay. One transaction for each of the two: who is killed leaves a
/// whole file. Nobody else can use the file meanwhile, and the disk must have room for another one.
///
/// Throws DatabaseError, also for locks that are held longer than `wait`, and std::runtime_error
/// "\"<file>\" is not a korvane project: …" and "\"<file>\" has damage: …".
CompactResult compact_file(const std::string& filename,
                           std::chrono::milliseconds wait = std::chrono::minutes(1));

}  // namespace korvane::sqlite
