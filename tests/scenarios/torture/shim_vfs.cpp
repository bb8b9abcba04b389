#include "tests/scenarios/torture/shim_vfs.h"

#include <memory>
#include <new>
#include <stdexcept>

namespace korvane::test {

namespace {

using Kind = FileOperationKind;

/// SQLite allocates one of these for each file, followed by room for the real file.
struct ShimFile {
  sqlite3_file base;
  ShimVfs* shim;
  std::string* path;
};

ShimFile& shim_file(sqlite3_file* file) { return *reinterpret_cast<ShimFile*>(file); }
sqlite3_file* real_file(sqlite3_file* file) {
  return reinterpret_cast<sqlite3_file*>(&shim_file(file) + 1);
}

}  // namespace

// The C functions that SQLite calls.
struct ShimCallbacks {
  static ShimVfs& shim(sqlite3_vfs* vfs) { return *static_cast<ShimVfs*>(vfs->pAppData); }
  static sqlite3_vfs* real(sqlite3_vfs* vfs) { return shim(vfs).real_; }

  template <class Forward>
  static int pass(ShimVfs& shim, const FileOperation& operation, Forward forward) {
    int result = shim.before(operation);
    if (result != SQLITE_OK) return result;
    result = forward();
    if (result == SQLITE_OK) shim.after(operation);
    return result;
  }

  /// The same for an operation on an opened file, which is filled in.
  template <class Forward>
  static int pass(sqlite3_file* file, FileOperation operation, Forward forward) {
    operation.file = real_file(file);
    return pass(*shim_file(file).shim, operation,
                [&] { return forward(*operation.file->pMethods, operation.file); });
  }
  static const std::string& path(sqlite3_file* file) { return *shim_file(file).path; }

  // --- Files.

  static int close(sqlite3_file* file) {
    const std::unique_ptr<std::string> owned(shim_file(file).path);
    return real_file(file)->pMethods->xClose(real_file(file));
  }
  static int read(sqlite3_file* file, void* bytes, int size, sqlite3_int64 offset) {
    return pass(file, {Kind::kRead, path(file)}, [&](const auto& methods, sqlite3_file* real) {
      return methods.xRead(real, bytes, size, offset);
    });
  }
  static int write(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset) {
    return pass(file, {Kind::kWrite, path(file), 0, offset, bytes, size},
                [&](const auto& methods, sqlite3_file* real) {
                  return methods.xWrite(real, bytes, size, offset);
                });
  }
  static int truncate(sqlite3_file* file, sqlite3_int64 size) {
    return pass(
        file, {Kind::kTruncate, path(file), 0, size},
        [&](const auto& methods, sqlite3_file* real) { return methods.xTruncate(real, size); });
  }
  static int sync(sqlite3_file* file, int) {
    return pass(file, {Kind::kSync, path(file)},
                [](const auto&, sqlite3_file*) { return SQLITE_OK; });
  }
  static int size(sqlite3_file* file, sqlite3_int64* size) {
    return pass(file, {Kind::kSize, path(file)}, [&](const auto& methods, sqlite3_file* real) {
      return methods.xFileSize(real, size);
    });
  }
  static int lock(sqlite3_file* file, int level) {
    return pass(file, {Kind::kLock, path(file)}, [&](const auto& methods, sqlite3_file* real) {
      return methods.xLock(real, level);
    });
  }
  static int unlock(sqlite3_file* file, int level) {
    // A failing unlock has released the lock all the same: SQLite would not try again.
    const int result = real_file(file)->pMethods->xUnlock(real_file(file), level);
    return pass(file, {Kind::kUnlock, path(file)},
                [&](const auto&, sqlite3_file*) { return result; });
  }
  static int check_lock(sqlite3_file* file, int* is_locked) {
    return pass(file, {Kind::kCheckLock, path(file)}, [&](const auto& methods, sqlite3_file* real) {
      return methods.xCheckReservedLock(real, is_locked);
    });
  }
  static int control(sqlite3_file* file, int operation, void* argument) {
    return real_file(file)->pMethods->xFileControl(real_file(file), operation, argument);
  }
  static int sector_size(sqlite3_file*) { return ShimVfs::kSectorSize; }
  static int characteristics(sqlite3_file*) { return 0; }

  // --- The file system.

  static int open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags,
                  int* out_flags) {
    static const sqlite3_io_methods methods = {
        1,       close,      read,    write,       truncate,        sync,    size,    lock,
        unlock,  check_lock, control, sector_size, characteristics, nullptr, nullptr, nullptr,
        nullptr, nullptr,    nullptr};
    auto opened_path = std::make_unique<std::string>(name == nullptr ? "" : name);
    file->pMethods = nullptr;
    const int result = pass(shim(vfs), {Kind::kOpen, *opened_path, flags}, [&] {
      return real(vfs)->xOpen(real(vfs), name, real_file(file), flags, out_flags);
    });
    if (result != SQLITE_OK) return result;
    shim_file(file).shim = &shim(vfs);
    shim_file(file).path = opened_path.release();
    file->pMethods = &methods;
    return SQLITE_OK;
  }
  static int remove(sqlite3_vfs* vfs, const char* name, int syncs_folder) {
    const std::string removed_path = name;
    return pass(shim(vfs), {Kind::kRemove, removed_path, 0, 0, nullptr, 0, syncs_folder != 0},
                [&] { return real(vfs)->xDelete(real(vfs), name, 0); });
  }
  static int access(sqlite3_vfs* vfs, const char* name, int flags, int* result) {
    const std::string asked_path = name;
    return pass(shim(vfs), {Kind::kAccess, asked_path},
                [&] { return real(vfs)->xAccess(real(vfs), name, flags, result); });
  }
  static int full_path(sqlite3_vfs* vfs, const char* name, int size, char* out) {
    return real(vfs)->xFullPathname(real(vfs), name, size, out);
  }
  static int randomness(sqlite3_vfs* vfs, int size, char* out) {
    return real(vfs)->xRandomness(real(vfs), size, out);
  }
  static int sleep(sqlite3_vfs* vfs, int microseconds) {
    return real(vfs)->xSleep(real(vfs), microseconds);
  }
  static int current_time(sqlite3_vfs* vfs, double* time) {
    return real(vfs)->xCurrentTime(real(vfs), time);
  }
  static int last_error(sqlite3_vfs* vfs, int size, char* text) {
    return real(vfs)->xGetLastError(real(vfs), size, text);
  }
};

ShimVfs::ShimVfs() : real_(sqlite3_vfs_find(nullptr)) {
  vfs_.iVersion = 1;
  vfs_.szOsFile = static_cast<int>(sizeof(ShimFile)) + real_->szOsFile;
  vfs_.mxPathname = real_->mxPathname;
  vfs_.zName = "korvane_shim";
  vfs_.pAppData = this;
  vfs_.xOpen = &ShimCallbacks::open;
  vfs_.xDelete = &ShimCallbacks::remove;
  vfs_.xAccess = &ShimCallbacks::access;
  vfs_.xFullPathname = &ShimCallbacks::full_path;
  vfs_.xRandomness = &ShimCallbacks::randomness;
  vfs_.xSleep = &ShimCallbacks::sleep;
  vfs_.xCurrentTime = &ShimCallbacks::current_time;
  vfs_.xGetLastError = &ShimCallbacks::last_error;
  if (sqlite3_vfs_find(vfs_.zName) != nullptr) throw std::logic_error("one shim at a time");
  sqlite3_vfs_register(&vfs_, 1);
}

ShimVfs::~ShimVfs() {
  sqlite3_vfs_unregister(&vfs_);
  sqlite3_vfs_register(real_, 1);
}

bool ShimVfs::exists(const std::string& path) const {
  int result = 0;
  real_->xAccess(real_, path.c_str(), SQLITE_ACCESS_EXISTS, &result);
  return result != 0;
}

}  // namespace korvane::test
