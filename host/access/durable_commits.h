#pragma once

#include <sqlite3.h>

namespace korvane::host {

/// While it lives, whichever connections are opened in this process, SQLite syncs the folder after it
/// has removed a journal, which is the commit: what `PRAGMA synchronous = extra` does on one
/// connection. Without that a power cut can bring the journal back, and SQLite then takes back the
/// last operation that was acknowledged.
///
/// Outlives the connections that are opened meanwhile. Made after `install_sql_fence`, where there is
/// a fence.
class DurableCommits {
 public:
  /// Throws std::runtime_error when SQLite does not take it.
  DurableCommits();
  DurableCommits(const DurableCommits&) = delete;
  DurableCommits& operator=(const DurableCommits&) = delete;
  ~DurableCommits();

 private:
  static int remove(sqlite3_vfs* vfs, const char* name, int syncs_folder);

  /// A copy of SQLite's own file system: its functions find what is theirs in the copy.
  struct FileSystem : sqlite3_vfs {
    sqlite3_vfs* standard = nullptr;
  };
  FileSystem file_system_;
};

}  // namespace korvane::host
