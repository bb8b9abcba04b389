#include "host/access/durable_commits.h"

#include <stdexcept>

namespace korvane::host {

DurableCommits::DurableCommits() {
  sqlite3_vfs* const standard = sqlite3_vfs_find(nullptr);
  if (standard == nullptr) throw std::runtime_error("SQLite has no file system");
  static_cast<sqlite3_vfs&>(file_system_) = *standard;
  file_system_.standard = standard;
  file_system_.zName = "korvane-durable";
  file_system_.xDelete = &DurableCommits::remove;
  if (sqlite3_vfs_register(&file_system_, 1) != SQLITE_OK) {
    throw std::runtime_error("SQLite does not take a file system that syncs the folder");
  }
}

DurableCommits::~DurableCommits() {
  sqlite3_vfs_unregister(&file_system_);
  sqlite3_vfs_register(file_system_.standard, 1);
}

int DurableCommits::remove(sqlite3_vfs* vfs, const char* name, int) {
  sqlite3_vfs* const standard = static_cast<FileSystem*>(vfs)->standard;
  constexpr int kSyncsFolder = 1;
  return standard->xDelete(standard, name, kSyncsFolder);
}

}  // namespace korvane::host
