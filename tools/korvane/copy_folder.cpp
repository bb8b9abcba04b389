#include "tools/korvane/copy_folder.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "sqlite/file_content.h"
#include "tools/korvane/project_folder.h"

namespace korvane::tools {

namespace fs = std::filesystem;

void require_folder(const std::string& folder) {
  if (!fs::is_directory(folder)) throw std::runtime_error("\"" + folder + "\" is not a folder");
}

bool is_there(const std::string& path) {
  std::error_code failure;
  return fs::exists(path, failure) || failure;
}

CopyFolder::CopyFolder(std::string from, std::string to)
    : from_(std::move(from)), to_(std::move(to)) {
  require_folder(from_);
  require_folder(to_);
  const fs::path outer = fs::canonical(from_);
  const fs::path inner = fs::canonical(to_);
  const auto is_within = [](const fs::path& one, const fs::path& other) {
    return std::mismatch(other.begin(), other.end(), one.begin(), one.end()).first == other.end();
  };
  if (is_within(inner, outer) || is_within(outer, inner)) {
    throw std::runtime_error("one of the folders \"" + from_ + "\" and \"" + to_ +
                             "\" is in the other");
  }
}

std::string CopyFolder::path_of(const std::string& name) const {
  return (fs::path(to_) / name).string();
}

void CopyFolder::begin_round() {
  try {
    require_folder(to_);
  } catch (const std::runtime_error& failure) {
    throw PlaceIsGone(failure.what());
  }
}

std::map<std::string, sqlite::CopyNote> CopyFolder::notes() {
  std::map<std::string, sqlite::CopyNote> notes;
  for (const std::string& name : read_folder(to_).projects) {
    if (auto note = note_of(name)) notes.emplace(name, std::move(*note));
  }
  return notes;
}

std::optional<sqlite::CopyNote> CopyFolder::note_of(const std::string& name) {
  return sqlite::read_note(path_of(name));
}

std::string CopyFolder::header_of(const std::string& name) {
  return sqlite::header_of(path_of(name));
}

bool CopyFolder::has(const std::string& name) { return is_there(path_of(name)); }

sqlite::StandingCopy CopyFolder::update(const std::string& project, const std::string& name,
                                        const sqlite::CopyOptions& options) {
  make_folder(name);
  return sqlite::update_copy(project, path_of(name), options);
}

void CopyFolder::remove(const std::string& name, const sqlite::CopyOptions& options) {
  sqlite::remove_copy(path_of(name), options);
}

void CopyFolder::make_folder(const std::string& name) const {
  fs::path below;
  for (const fs::path& part : fs::path(name).parent_path()) {
    below /= part;
    const fs::path folder = fs::path(to_) / below;
    if (fs::is_directory(folder)) continue;
    fs::create_directory(folder);
    fs::permissions(folder, fs::status(fs::path(from_) / below).permissions());
  }
}

}  // namespace korvane::tools
