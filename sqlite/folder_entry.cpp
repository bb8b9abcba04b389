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

FolderEntry::FolderEntry(const std::string& name, const std::string& like) : name_(name) {
  std::error_code failure;
  const fs::path resolved = fs::weakly_canonical(name, failure);
  const fs::path target = failure ? fs::path(name) : resolved;
  target_ = target.string();
  path_ = (target.parent_path() / ("." + target.filename().string() + ".part")).string();
  open_locked();
  struct stat status {};
  if (::stat(like.c_str(), &status) != 0 || ::fchmod(file_, status.st_mode & 07777) != 0 ||
      ::ftruncate(file_, 0) != 0) {
    const int reason = errno;
    ::close(file_);
    errno = reason;
    fail();
  }
}

FolderEntry::~FolderEntry() {
  if (!is_in_place_) ::unlink(path_.c_str());
  ::close(file_);
}

void FolderEntry::open_locked() {
  while (true) {
    file_ = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (file_ < 0) fail();
    if (::flock(file_, LOCK_EX | LOCK_NB) != 0) {
      ::close(file_);
      throw std::runtime_error("\"" + name_ + "\" is being written by another program");
    }
    // Meanwhile another program may have given the file its name.
    struct stat opened {};
    struct stat named {};
    if (::fstat(file_, &opened) == 0 && ::stat(path_.c_str(), &named) == 0 &&
        opened.st_dev == named.st_dev && opened.st_ino == named.st_ino) {
      return;
    }
    ::close(file_);
  }
}

void FolderEntry::fail() const {
  throw std::runtime_error("cannot write \"" + name_ +
                           "\": " + std::system_category().message(errno));
}

void FolderEntry::overwrite(long offset, const std::string& bytes) {
  const ::ssize_t written = ::pwrite(file_, bytes.data(), bytes.size(), offset);
  if (written != static_cast<::ssize_t>(bytes.size())) fail();
}

void FolderEntry::put_in_place(IfThere if_there) {
  if (::fsync(file_) != 0) fail();
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

void require_no_journal(const std::string& name) {
  for (const char* const suffix : {"-journal", "-wal"}) {
    const std::string journal = name + suffix;
    std::error_code none;
    if (fs::file_size(journal, none) == 0 || none) continue;
    throw std::runtime_error("\"" + journal +
                             "\" lies beside it, and SQLite would take it for the new file's: open "
                             "the old file once, or remove it");
  }
}

}  // namespace korvane::sqlite
