#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

namespace korvane::host {

/// A file name that a client may not open. The text names it and what was expected, as valid UTF-8
/// without control characters, and shows no path beyond what the client sent.
class ConfinementError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The folder that clients' project files are confined to. Its names are relative to it, with `/`
/// between folders; a server makes it its current directory, so that what `confine` returns can be
/// opened as it is.
///
/// What a name leads to is looked up when it is confined: whoever can make links in the folder by
/// other means than the server can exchange a file before it is opened. A hard link is a file of
/// the folder like any other. Immutable: any number of threads may use one at a time.
class ProjectRoot {
 public:
  /// Throws std::runtime_error "project root <folder> is no folder".
  explicit ProjectRoot(const std::filesystem::path& folder);

  /// The one name of the file that `filename` means: relative to the root, without links, `.` and
  /// doubled slashes. The file itself may be missing, its folder not. An empty name passes
  /// unchanged: the service has its own text for it.
  ///
  /// Throws ConfinementError `file name "<filename>" is refused: expected …` for text that is no
  /// UTF-8 or has control characters, absolute paths, `..`, links that lead out of the root or
  /// nowhere, folders and other things that are no regular file, a missing folder, names that mean
  /// something else to SQLite (`file:…`, `:memory:`, and the `-journal`, `-wal` and `-shm` beside a
  /// database, in any case), and names too long for their own journal.
  std::string confine(std::string_view filename) const;

  /// Whether the file is there that `confined`, returned by `confine`, names. False for the empty
  /// name.
  bool exists(std::string_view confined) const;

 private:
  std::filesystem::path root_;
};

}  // namespace korvane::host
