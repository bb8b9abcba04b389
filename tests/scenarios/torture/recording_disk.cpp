#include "tests/scenarios/torture/recording_disk.h"

#include <filesystem>

namespace korvane::test {

int RecordingDisk::before(const FileOperation& operation) {
  if (operation.kind == FileOperationKind::kOpen) is_created_ = !exists(operation.path);
  return SQLITE_OK;
}

void RecordingDisk::after(const FileOperation& operation) {
  using Kind = DiskEvent::Kind;
  if (operation.path.empty()) return;
  const std::string name = std::filesystem::path(operation.path).filename().string();
  switch (operation.kind) {
    case FileOperationKind::kOpen:
      if (is_created_) events_.push_back({Kind::kCreate, name});
      if ((operation.flags & SQLITE_OPEN_CREATE) != 0 &&
          (operation.flags & SQLITE_OPEN_MAIN_JOURNAL) != 0) {
        new_journals_.insert(name);
      }
      return;
    case FileOperationKind::kWrite:
      events_.push_back(
          {Kind::kWrite,
           name,
           operation.offset,
           {static_cast<const char*>(operation.bytes), static_cast<std::size_t>(operation.size)}});
      return;
    case FileOperationKind::kTruncate:
      events_.push_back({Kind::kTruncate, name, operation.offset});
      return;
    case FileOperationKind::kSync:
      events_.push_back({Kind::kSync, name, 0, "", new_journals_.erase(name) != 0});
      return;
    case FileOperationKind::kRemove:
      events_.push_back({Kind::kRemove, name, 0, "", operation.syncs_folder});
      return;
    default:
      return;
  }
}

}  // namespace korvane::test
