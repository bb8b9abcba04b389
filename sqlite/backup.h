#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "sqlite/check.h"

namespace korvane::sqlite {

/// Copies of a whole project file.
struct CopyOptions {
  /// How long to wait for others' locks.
  std::chrono::milliseconds wait = std::chrono::minutes(1);
  /// Whether a file that is there is replaced.
  bool is_replacing = false;
  /// Called with the pages that are copied and all of them, often.
  std::function<void(std::size_t done, std::size_t total)> progress = [](std::size_t, std::size_t) {
  };
};

struct CopyResult {
  /// Where the copy is.
  std::string filename;
  std::int64_t bytes = 0;
  /// What is wrong with the content, and was so before.
  std::vector<Finding> findings;
  /// Whether a file that was there is a new one now, which those who have it open do not see.
  bool is_replaced = false;
};

/// Copies `project` to the file `to`, or into the folder `to` under its own name. The copy is what
/// one reader sees at one moment: writers wait for as long as the pages are copied. It is checked
/// before it gets its name (pages, foreign keys, tables), has the permissions of the project, and is
/// never in write-ahead mode, so that it is one file. Who is killed leaves what was under that name,
/// or the whole copy. The journal of a write that was broken off is taken in first, as by any
/// opening.
///
/// Throws DatabaseError and std::runtime_error, and leaves nothing of the copy, unless it is the
/// folder that the disk does not take: then the copy may be there.
///
/// - AlreadyThere "\"<to>\" is there already" without `is_replacing`
/// - "\"<to>\" is the project itself"
/// - "\"<project>\" is not a korvane project: …"
/// - "the copy of \"<project>\" has damage: …": so has the project, then
/// - what FolderEntry and require_no_journal throw
CopyResult back_up(const std::string& project, const std::string& to,
                   const CopyOptions& options = {});

/// Puts the copy `backup` in the place of `project`, after checking all of it. A project that is
/// there is overwritten in one transaction, so that programs that have it open see either content,
/// and who is killed leaves the old one. One that is damaged so that SQLite cannot begin is replaced
/// by a new file, which others who have it open do not see.
///
/// Throws as back_up does, "\"<backup>\" has damage: …", and AlreadyThere for a project with
/// content without `is_replacing`.
CopyResult restore(const std::string& backup, const std::string& project,
                   const CopyOptions& options = {});

}  // namespace korvane::sqlite
