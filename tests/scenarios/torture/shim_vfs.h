#pragma once

#include <cstdint>
#include <string>

#include <sqlite3.h>

namespace korvane::test {

/// The operations of SQLite's file system that can fail or leave traces.
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
  /// Position and bytes of a write; for a truncation `offset` is the new size.
  std::int64_t offset = 0;
  const void* bytes = nullptr;
  int size = 0;
  /// Whether a removal is to sync the folder.
  bool syncs_folder = false;
  /// The opened file below; null when opening, removing and looking for access.
  sqlite3_file* file = nullptr;
};

/// A file system for SQLite's connections that forwards to the real one, sees each operation and
/// can make it fail. While it lives it is the process's default. One at a time; connections opened
/// meanwhile must be closed before it is destroyed.
///
/// It promises as little as the simplest disk: sectors of 512 bytes, no atomic write, and a write
/// that is cut off may damage the rest of its sectors. No memory maps, no shared memory. Nothing is
/// really synced: power cuts are only simulated, and the process survives them.
class ShimVfs {
 public:
  static constexpr int kSectorSize = 512;

  ShimVfs(const ShimVfs&) = delete;
  ShimVfs& operator=(const ShimVfs&) = delete;

 protected:
  ShimVfs();
  virtual ~ShimVfs();

  /// Called before each operation: it goes on with SQLITE_OK, and fails with any other result.
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
