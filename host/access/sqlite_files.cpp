#include "host/access/sqlite_files.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include <sqlite3.h>

namespace korvane::host {

namespace {

using Open = int (*)(const char* path, int flags, int mode);

Open standard_open = nullptr;
sqlite3_vfs* standard = nullptr;
sqlite3_vfs guarded{};

/// The system's `open` for SQLite. Without waiting it opens a pipe as well, which then shows what
/// it is; with files it makes no difference.
int open_no_pipe(const char* path, int flags, int mode) {
  const int descriptor = standard_open(path, flags | O_NONBLOCK, mode);
  struct stat status {};
  if (descriptor < 0 || ::fstat(descriptor, &status) != 0 || !S_ISFIFO(status.st_mode)) {
    return descriptor;
  }
  ::close(descriptor);
  errno = EINVAL;
  return -1;
}

/// Whether a name ends as SQLite ends those of its super-journals: "-mj" and nine digits of
/// hexadecimal, the seventh of them a 9.
bool is_name_of_super_journal(std::string_view name) {
  constexpr std::string_view kMark = "-mj";
  constexpr std::size_t kDigits = 9;
  if (name.size() < kDigits) return false;
  const std::string_view digits = name.substr(name.size() - kDigits);
  name.remove_suffix(kDigits);
  if (!name.ends_with(kMark)) return false;
  name.remove_suffix(kMark.size());
  return !name.empty() && name.back() != '/' && digits[6] == '9' &&
         std::all_of(digits.begin(), digits.end(),
                     [](unsigned char c) { return std::isxdigit(c) != 0; });
}

int open_guarded(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* opened) {
  const bool is_super_journal = (flags & SQLITE_OPEN_SUPER_JOURNAL) != 0;
  if (is_super_journal && (name == nullptr || !is_name_of_super_journal(name))) {
    file->pMethods = nullptr;
    return SQLITE_CANTOPEN;
  }
  return standard->xOpen(vfs, name, file, flags, opened);
}

}  // namespace

int guard_sqlite_files() {
  standard = sqlite3_vfs_find(nullptr);
  if (standard == nullptr) return SQLITE_ERROR;
  const sqlite3_syscall_ptr found = standard->xGetSystemCall(standard, "open");
  standard_open = reinterpret_cast<Open>(reinterpret_cast<void*>(found));
  const int result = standard->xSetSystemCall(
      standard, "open",
      reinterpret_cast<sqlite3_syscall_ptr>(reinterpret_cast<void*>(&open_no_pipe)));
  if (result != SQLITE_OK) return result;
  guarded = *standard;
  guarded.zName = "korvane";
  guarded.xOpen = &open_guarded;
  return sqlite3_vfs_register(&guarded, 1);
}

}  // namespace korvane::host
