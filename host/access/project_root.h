#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "platform/app/database_file.h"

namespace korvane::host {

/// A file name that a client may not open. The text names it and what was expected, as valid UTF-8
/// without control characters, and shows no path beyond what the client sent.
class ConfinementError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

using krv::app::begins_as_database;

/// A project file as the folder knows it.
struct ProjectFile {
  /// As `ProjectRoot::confine` returns it.
  std::string name;
  std::uintmax_t size = 0;
  std::chrono::system_clock::time_point changed;
};

/// A file itself, whatever its name is.
struct FileNumber {
  ::dev_t device = 0;
  ::ino_t inode = 0;
  friend bool operator==(const FileNumber&, const FileNumber&) = default;
};

/// The folder that clients' project files are confined to. Its names are relative to it, with `/`
/// between folders; a server makes it its current directory, so that what `confine` returns can be
/// opened as it is.
///
/// A name is looked up when it is confined: whoever can make links in the folder by other means
/// than the server can exchange a file before it is opened. A hard link is a file of
/// the folder like any other. Immutable: any number of threads may use one at a time.
class ProjectRoot {
 public:
  /// Throws std::runtime_error "project root <folder> is not a folder".
  explicit ProjectRoot(const std::filesystem::path& folder);

  /// The one name of the file that `filename` means: relative to the root, without links, `.` and
  /// doubled slashes. The file itself may be missing, its folder not. An empty name passes
  /// unchanged: the service has its own text for it.
  ///
  /// Throws ConfinementError `file name "<filename>" is refused: expected …` for text that is not
  /// UTF-8 or has control characters, absolute paths, `..`, links that lead out of the root or
  /// nowhere, folders and other things that are not regular files, a missing folder, names that
  /// mean something else to SQLite (`file:…`, `:memory:`, and the `-journal`, `-wal` and `-shm`
  /// beside a database, in any case), for those of what lies beside a copy (`.NAME.part`,
  /// `.NAME.copy`), and for names too long for their own journal.
  std::string confine(std::string_view filename) const;

  /// Throws what `confine` throws for a name that is refused wherever it may be, and looks at no
  /// folder.
  static void require_name(std::string_view filename);

  /// Whether the file is there that `confined`, returned by `confine`, names. False for the empty
  /// name.
  bool exists(std::string_view confined) const;

  /// Which file it is that `confined` names; none where `exists` is false.
  std::optional<FileNumber> number_of(std::string_view confined) const;

  /// Removes the file that `confined` names if it is there and empty, and no other program has it
  /// open. Where the file system cannot tell, it stays.
  void remove_if_empty(std::string_view confined) const;

  /// The SQLite files in the folder and in those below it, by name in order, without following
  /// links to folders. They are not opened as databases: the first bytes tell. Left out are files on
  /// which locks are tried (platform/app/lock_probe.h), and copies that are not whole yet
  /// (".NAME.part"). Looks at 100,000 entries at most.
  std::vector<ProjectFile> list() const;

 private:
  std::optional<ProjectFile> project_at(const std::filesystem::directory_entry& entry) const;

  std::filesystem::path root_;
};

}  // namespace korvane::host
