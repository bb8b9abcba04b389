#pragma once

#include <set>
#include <string>
#include <vector>

namespace korvane::tools {

/// What a folder and those below it have of projects.
struct FolderContent {
  /// Files that begin as databases do, by their paths below the folder. No links, and nothing of
  /// what lies beside a project or is not whole yet.
  std::set<std::string> projects;
  /// Files in it, and folders below it, that could not be read to their end, each with the reason.
  std::vector<std::string> unread;
};

/// Looks at every file of `folder` and of those below it, without following links. Throws
/// std::runtime_error if it cannot be read itself: "\"<folder>\" cannot be read: …".
FolderContent read_folder(const std::string& folder);

}  // namespace korvane::tools
