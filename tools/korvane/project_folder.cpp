#include "tools/korvane/project_folder.h"

#include <array>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "host/access/folder_walk.h"
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

void read_file(const fs::directory_entry& entry, const fs::path& folder, FolderContent& content) {
  std::error_code none;
  const fs::path& path = entry.path();
  const bool is_file = fs::is_regular_file(entry.symlink_status(none));
  if (!is_file || is_of_project(path.filename().string())) return;
  const auto header = sqlite::first_bytes(path.string(), sqlite::kHeaderBytes);
  const std::error_code reason(errno, std::system_category());
  if (header && sqlite::is_header(*header)) {
    content.projects.insert(path.lexically_relative(folder).string());
  }
  // Else it has gone since.
  if (!header && reason != std::errc::no_such_file_or_directory) {
    content.unread.push_back(unread_text(path, reason));
  }
}

}  // namespace

FolderContent read_folder(const std::string& folder) {
  FolderContent content;
  host::FolderVisitor visitor;
  visitor.visit = [&](const fs::directory_entry& entry) {
    read_file(entry, folder, content);
    return true;
  };
  visitor.unread = [&](const fs::path& unread, const std::error_code& failure) {
    const std::string text = unread_text(unread, failure);
    if (unread == folder) throw std::runtime_error(text);
    content.unread.push_back(text);
  };
  host::walk_folder(folder, visitor);
  return content;
}

}  // namespace korvane::tools
