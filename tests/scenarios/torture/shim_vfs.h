#pragma once

#include <cstdint>
#include <string>

#include <sqlite3.h>

namespace korvane::test {

/// What SQLite asks of its file system, as far as it can go wrong or leave something behind.
enum class FileOperationKind {
  kOpen,
  kRead,
  kWrite,
  kTruncate,
  kSync,
  kSize,
  kLock,
  kUnlock,
  kCheckLock,
  kRemove,
  kAccess,
};

struct FileOperation {
  FileOperationKind kind;
  /// The file's path; empty for a temporary file that SQLite removes by itself.
  const std::string& path;
  /// SQLite's flags of an opening.
  int flags = 0;
  /// Where a write goes and what it writes; the size of a truncation stands in `offset`.
  std::int64_t offset = 0;
  const void* bytes = nullptr;
  int size = 0;
  /// Whether a removal is to sync the folder.
  bool syncs_folder = false;
  /// The opened file below; null when opening, removing and looking for access.
  sqlite3_file* file = nullptr;
};

/// A file system for SQLite's connections that stands before the one there is, sees each operation
/// and may let it fail. While it lives it is the process's default. One at a time; connections that
/// were opened in between must be closed before it goes.
///
/// It promises what the plainest disk does: sectors of 512 bytes, no atomic write, and a write that
/// is cut off may hurt the rest of its sectors. No memory maps, no shared memory. Nothing is
/// synced in truth: the process outlives every power cut that is acted here.
class ShimVfs {
 public:
  static constexpr int kSectorSize = 512;

  ShimVfs(const ShimVfs&) = delete;
  ShimVfs& operator=(const ShimVfs&) = delete;

 protected:
  ShimVfs();
  virtual ~ShimVfs();

  /// Called before each operation: SQLITE_OK lets it go on, anything else is what it fails with.
  virtual int before(const FileOperation& operation) = 0;
  /// Called after each operation that succeeded.
  virtual void after(const FileOperation& operation) = 0;

  bool exists(const std::string& path) const;

 private:
  friend struct ShimCallbacks;

  sqlite3_vfs* real_;
  sqlite3_vfs vfs_{};
};

}  // namespace korvane::test
