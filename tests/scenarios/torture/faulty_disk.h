#pragma once

#include <array>
#include <ostream>
#include <vector>

#include "tests/scenarios/torture/shim_vfs.h"

namespace korvane::test {

/// Something that a disk does wrong.
struct Fault {
  FileOperationKind kind = FileOperationKind::kRead;
  /// The error code that SQLite gets.
  int error = 0;
  const char* name = "";

  friend std::ostream& operator<<(std::ostream& stream, const Fault& fault) {
    return stream << fault.name;
  }
};

/// All faults. A lock is refused with an error, never as busy: SQLite would wait.
inline constexpr std::array kFaults = {
    Fault{FileOperationKind::kOpen, SQLITE_CANTOPEN, "open"},
    Fault{FileOperationKind::kRead, SQLITE_IOERR_READ, "read"},
    Fault{FileOperationKind::kWrite, SQLITE_IOERR_WRITE, "write"},
    Fault{FileOperationKind::kWrite, SQLITE_FULL, "write to a full disk"},
    Fault{FileOperationKind::kTruncate, SQLITE_IOERR_TRUNCATE, "truncate"},
    Fault{FileOperationKind::kSync, SQLITE_IOERR_FSYNC, "sync"},
    Fault{FileOperationKind::kSize, SQLITE_IOERR_FSTAT, "file size"},
    Fault{FileOperationKind::kLock, SQLITE_IOERR_LOCK, "lock"},
    Fault{FileOperationKind::kUnlock, SQLITE_IOERR_UNLOCK, "unlock"},
    Fault{FileOperationKind::kCheckLock, SQLITE_IOERR_CHECKRESERVEDLOCK, "look for a lock"},
    Fault{FileOperationKind::kRemove, SQLITE_IOERR_DELETE, "delete"},
    Fault{FileOperationKind::kAccess, SQLITE_IOERR_ACCESS, "access"},
};

/// How far a fault reaches from its operation on: that one only, all of its kind, or everything.
enum class Extent { kOne, kKind, kAll };

/// A disk that fails on demand. A write that fails has written its first half.
class FaultyDisk : public ShimVfs {
 public:
  /// Fails the `nth` operation of the fault's kind from now on, counted from one, and after it
  /// what `extent` says; in addition to the faults that were set before.
  void fail(const Fault& fault, int nth, Extent extent);
  /// Works again. Returns whether any operation failed.
  bool heal();

 protected:
  int before(const FileOperation& operation) override;
  void after(const FileOperation&) override {}

 private:
  struct Plan {
    Fault fault;
    /// Operations up to and including the first that fails; zero once the fault is over.
    int left;
    Extent extent;
    bool has_begun = false;

    int result(FileOperationKind kind);
  };

  std::vector<Plan> plans_;
  bool has_failed_ = false;
};

}  // namespace korvane::test
