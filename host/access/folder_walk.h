#pragma once

#include <filesystem>
#include <functional>
#include <system_error>

namespace korvane::host {

/// What is done with what a walk finds.
struct FolderVisitor {
  /// Gets each entry of each folder, links and folders as well. The walk ends where it says false.
  std::function<bool(const std::filesystem::directory_entry& entry)> visit;
  /// Gets each folder that cannot be read, or not to its end, with the reason.
  std::function<void(const std::filesystem::path& folder, const std::error_code& reason)> unread =
      [](const auto&, const auto&) {};
};

/// Looks at all that is in `folder` and in those below it, and follows no link. A folder that
/// disappears meanwhile hides no other one. Throws what the visitor throws.
void walk_folder(const std::filesystem::path& folder, const FolderVisitor& visitor);

}  // namespace korvane::host
