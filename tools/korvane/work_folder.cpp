#include "tools/korvane/work_folder.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace korvane::tools {

namespace fs = std::filesystem;

namespace {

/// None where it is no folder, or a link to one.
int open_folder(const std::string& path) {
  return ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

bool is_own(int folder) {
  struct stat status {};
  return ::fstat(folder, &status) == 0 && status.st_uid == ::geteuid();
}

}  // namespace

WorkFolder::WorkFolder(const std::string& purpose) {
  const fs::path all = fs::temp_directory_path();
  while (true) {
    path_ = (all / (purpose + "-XXXXXX")).string();
    const bool is_made = ::mkdtemp(path_.data()) != nullptr;
    if (is_made) folder_ = open_folder(path_);
    if (!is_made || (folder_ < 0 && errno != ENOENT)) {
      throw std::runtime_error("cannot make a folder in \"" + all.string() +
                               "\": " + std::system_category().message(errno));
    }
    if (folder_ < 0) continue;
    // Another process may take it for one that was left, until it is locked.
    ::flock(folder_, LOCK_EX);
    if (has_its_name()) return;
    ::close(folder_);
  }
}

WorkFolder::~WorkFolder() {
  std::error_code none;
  fs::remove_all(path_, none);
  ::close(folder_);
}

bool WorkFolder::has_its_name() const {
  struct stat opened {};
  struct stat named {};
  return ::fstat(folder_, &opened) == 0 && ::lstat(path_.c_str(), &named) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

void WorkFolder::remove_left(const std::string& purpose) {
  std::error_code none;
  std::vector<fs::path> left;
  for (fs::directory_iterator entry(fs::temp_directory_path(none), none), end;
       !none && entry != end; entry.increment(none)) {
    if (entry->path().filename().string().starts_with(purpose + "-")) left.push_back(entry->path());
  }
  for (const fs::path& path : left) {
    const int folder = open_folder(path.string());
    if (folder < 0) continue;
    if (is_own(folder) && ::flock(folder, LOCK_EX | LOCK_NB) == 0) fs::remove_all(path, none);
    ::close(folder);
  }
}

}  // namespace korvane::tools
