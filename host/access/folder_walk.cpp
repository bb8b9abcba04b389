#include "host/access/folder_walk.h"

#include <utility>
#include <vector>

namespace korvane::host {

namespace fs = std::filesystem;

void walk_folder(const fs::path& folder, const FolderVisitor& visitor) {
  // Not the library's own walk: that ends where one of the folders cannot be opened.
  std::vector<fs::path> folders{folder};
  while (!folders.empty()) {
    const fs::path next = std::move(folders.back());
    folders.pop_back();
    std::error_code failure;
    fs::directory_iterator entry(next, failure);
    for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
      std::error_code none;
      if (fs::is_directory(entry->symlink_status(none))) folders.push_back(entry->path());
      if (!visitor.visit(*entry)) return;
    }
    if (failure) visitor.unread(next, failure);
  }
}

}  // namespace korvane::host
