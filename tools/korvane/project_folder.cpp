#include "tools/korvane/project_folder.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "sqlite/file_content.h"

namespace korvane::tools {

namespace {

namespace fs = std::filesystem;

bool is_of_project(const std::string& name) {
  constexpr std::array<std::string_view, 3> kBeside = {"-journal", "-wal", "-shm"};
  for (const std::string_view suffix : kBeside) {
    if (name.ends_with(suffix)) return true;
  }
  return name.starts_with('.') && (name.ends_with(".part") || name.ends_with(".copy"));
}

std::string unread_text(const fs::path& folder, const std::error_code& failure) {
  return "\"" + folder.string() + "\" cannot be read: " + failure.message();
}

void read_into(const fs::path& folder, const fs::path& below, FolderContent& content) {
  std::error_code failure;
  fs::directory_iterator entry(folder, failure);
  for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
    const fs::path name = entry->path().filename();
    std::error_code none;
    const fs::file_status status = entry->symlink_status(none);
    if (fs::is_directory(status)) {
      read_into(entry->path(), below / name, content);
    } else if (fs::is_regular_file(status) && !is_of_project(name.string())) {
      const auto header = sqlite::first_bytes(entry->path().string(), sqlite::kHeaderBytes);
      const std::error_code reason(errno, std::system_category());
      if (header && sqlite::is_header(*header)) content.projects.insert((below / name).string());
      // Else it has gone since.
      if (!header && reason != std::errc::no_such_file_or_directory) {
        content.unread.push_back(unread_text(entry->path(), reason));
      }
    }
  }
  if (!failure) return;
  const std::string text = unread_text(folder, failure);
  if (below.empty()) throw std::runtime_error(text);
  content.unread.push_back(text);
}

}  // namespace

FolderContent read_folder(const std::string& folder) {
  FolderContent content;
  read_into(folder, {}, content);
  return content;
}

}  // namespace korvane::tools
