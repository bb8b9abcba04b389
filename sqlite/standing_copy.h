#pragma once

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "sqlite/backup.h"
#include "sqlite/finding.h"

/// Copies that follow their projects: each is replaced by a newer state of the project again and
/// again, and read by others meanwhile. docs/decisions/0022-standing-copies.md says why so.
namespace korvane::sqlite {

/// "\"<copy>\" is not as it was copied: …": somebody has written to the copy, or put another file in
/// its place, or it never was one. It is left as it is.
class WrittenElsewhere : public std::runtime_error {
 public:
  explicit WrittenElsewhere(const std::string& copy);
};

struct StandingCopy {
  /// False if the copy had that content already.
  bool is_written = false;
  std::int64_t bytes = 0;
  /// How the project looks that the copy shows. Empty where that cannot be told well enough to know
  /// the same state again.
  std::string source;
  /// The copy's header.
  std::string header;
  /// When the copy was the same as the project, at least.
  std::chrono::system_clock::time_point taken;
  /// What is wrong with the content, and was so before.
  std::vector<Finding> findings;
};

/// Gives `copy` the content that `project` has at one moment. The pages are copied beside it and
/// checked there (pages, foreign keys, tables); meanwhile those who commit to the project wait, and
/// others do not. Then they take the place of the copy's own in one transaction, so that who has the
/// copy open reads the old state or the new one, and sees the new one from its next call on; readers
/// of the copy wait for that transaction. A copy that is not there gets its name when it is whole. Who
/// is killed leaves the old copy, which SQLite brings back when it is next opened, or the new one.
///
/// The folder of the copy is there. `options.is_replacing` means nothing. What `options.progress`
/// throws ends it, and leaves the old copy. Throws DatabaseError and std::runtime_error:
///
/// - NotAProject, WrittenElsewhere
/// - "the copy of \"<project>\" has damage: …": so has the project, then
/// - "\"<copy>\" is the project itself, by a link"
/// - "\"<copy>\" is not a file", and what FolderEntry and require_no_journal throw
StandingCopy update_copy(const std::string& project, const std::string& copy,
                         const CopyOptions& options = {});

/// Removes a copy whose project is gone. Throws as update_copy does, and leaves it then.
void remove_copy(const std::string& copy, const CopyOptions& options = {});

}  // namespace korvane::sqlite
