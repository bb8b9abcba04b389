#include "sqlite/folder_entry.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace korvane::sqlite {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void fail_to_write(const std::string& name) {
  throw std::runtime_error("cannot write \"" + name +
                           "\": " + std::system_category().message(errno));
}

::mode_t permissions_like(const std::string& name, const std::string& like) {
  struct stat status {};
  if (::stat(like.c_str(), &status) != 0) fail_to_write(name);
  return status.st_mode & 07777;
}

}  // namespace

FolderEntry::FolderEntry(const std::string& name, const std::string& like)
    : FolderEntry(name, permissions_like(name, like)) {}

FolderEntry::FolderEntry(const std::string& name, ::mode_t permissions)
    : name_(name), mode_(permissions) {
  std::error_code failure;
  const fs::path resolved = fs::weakly_canonical(name, failure);
  const fs::path target = failure ? fs::path(name) : resolved;
  target_ = target.string();
  path_ = (target.parent_path() / ("." + target.filename().string() + ".part")).string();
  open_locked();
  if (::ftruncate(file_, 0) != 0 || ::fchmod(file_, 0600) != 0) {
    const int reason = errno;
    ::close(file_);
    errno = reason;
    fail();
  }
}

FolderEntry::~FolderEntry() {
  if (!is_in_place_ && has_its_name()) ::unlink(path_.c_str());
  ::close(file_);
}

void FolderEntry::open_locked() {
  while (true) {
    file_ = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (file_ < 0) fail();
    if (::flock(file_, LOCK_EX | LOCK_NB) != 0) {
      const int reason = errno;
      ::close(file_);
      errno = reason;
      if (reason != EWOULDBLOCK) fail();
      throw std::runtime_error("\"" + name_ + "\" is being written by another program");
    }
    // Meanwhile another program may have given the file its name.
    if (has_its_name()) {
      struct stat opened {};
      const bool is_own = ::fstat(file_, &opened) == 0 && S_ISREG(opened.st_mode) &&
                          opened.st_uid == ::geteuid() && opened.st_nlink == 1;
      if (is_own) return;
      // Not what an earlier one has left: somebody else could read and write the copy.
      if (::unlink(path_.c_str()) != 0) {
        const int reason = errno;
        ::close(file_);
        errno = reason;
        fail();
      }
    }
    ::close(file_);
  }
}

bool FolderEntry::has_its_name() const {
  struct stat opened {};
  struct stat named {};
  return ::fstat(file_, &opened) == 0 && ::lstat(path_.c_str(), &named) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

void FolderEntry::fail() const { fail_to_write(name_); }

void FolderEntry::overwrite(long offset, std::string_view bytes) {
  while (!bytes.empty()) {
    const ::ssize_t written = ::pwrite(file_, bytes.data(), bytes.size(), offset);
    if (written < 0) fail();
    bytes.remove_prefix(static_cast<std::size_t>(written));
    offset += written;
  }
}

void FolderEntry::reserve(std::uint64_t bytes) {
  errno = ::posix_fallocate(file_, 0, static_cast<::off_t>(bytes));
  if (errno != 0) fail();
}

void FolderEntry::put_in_place(IfThere if_there) {
  // Not before: SQLite writes by the name, and the project may be for reading only.
  if (::fchmod(file_, mode_) != 0 || ::fsync(file_) != 0) fail();
  if (!has_its_name()) {
    throw std::runtime_error("cannot write \"" + name_ + "\": another program has replaced \"" +
                             path_ + "\"");
  }
  take_name(if_there);
  is_in_place_ = true;
  sync_folder();
}

void FolderEntry::take_name(IfThere if_there) const {
  if (if_there == IfThere::replace) {
    if (::rename(path_.c_str(), target_.c_str()) != 0) fail();
    return;
  }
  if (::renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, target_.c_str(), RENAME_NOREPLACE) == 0) {
    return;
  }
  // Not every file system has it.
  const bool is_known = errno != EINVAL && errno != ENOSYS;
  if ((is_known && errno == EEXIST) || (!is_known && fs::exists(target_))) {
    throw AlreadyThere(name_);
  }
  if (is_known || ::rename(path_.c_str(), target_.c_str()) != 0) fail();
}

void FolderEntry::sync_folder() const {
  const std::string folder = fs::path(target_).parent_path().string();
  const int opened =
      ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (opened < 0) fail();
  const bool is_done = ::fsync(opened) == 0;
  const int reason = errno;
  ::close(opened);
  errno = reason;
  // A file system without the call for folders says EINVAL.
  if (!is_done && reason != EINVAL) fail();
}

}  // namespace korvane::sqlite
