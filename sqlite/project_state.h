#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

#include "sqlite/backup.h"
#include "sqlite/finding.h"
#include "sqlite/folder_entry.h"

namespace korvane::sqlite {

/// What a project holds at one moment, in a file of its own.
struct ProjectState {
  /// Checked, never in write-ahead mode, and nobody else's. Removed with it unless it is put in its
  /// place.
  std::unique_ptr<FolderEntry> file;
  std::int64_t bytes = 0;
  /// content_digest of it.
  std::string content;
  /// How the project looked (look_of). Empty where that cannot be told well enough to know the same
  /// state again.
  std::string source;
  /// When the project was like that, at least.
  std::chrono::system_clock::time_point taken;
  /// Those of the project's file.
  ::mode_t permissions = 0;
  /// What is wrong with the content, and was so before.
  std::vector<Finding> findings;
};

/// Copies all pages, as one reader sees them, into the file that is to be named `name`, and checks
/// them there (pages, foreign keys, tables). Those who commit to the project wait meanwhile. Throws
/// NotAProject, DatabaseError and std::runtime_error, and what FolderEntry throws.
ProjectState take_state(const std::string& project, const std::string& name,
                        const CopyOptions& options);

/// How the project looks from outside: another text after every commit, by whomever, except while a
/// write-ahead log lies beside it. Empty if it is not there. Not for a project that this program has
/// open.
std::string look_of(const std::string& project);

}  // namespace korvane::sqlite
