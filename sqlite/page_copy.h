#pragma once

#include <memory>
#include <string>
#include <vector>

#include <sqlite3.h>

#include "sqlite/backup.h"
#include "sqlite/check.h"
#include "sqlite/database.h"
#include "sqlite/folder_entry.h"

/// What all copies of a project are made of: pages, by SQLite's own backup.
namespace korvane::sqlite {

/// One reader's view of a file for as long as it lives: a transaction that has begun.
std::unique_ptr<Database> begin_reading(const std::string& filename, const CopyOptions& options);

/// All pages of one database on their way into another, in one transaction there. The source is in a
/// transaction, or nobody else writes to it, so that writers cannot make it begin again and again.
/// Throws DatabaseError. What is not finished is taken back.
class PageCopy {
 public:
  /// Both must outlive it.
  PageCopy(const Database& source, const Database& destination);

  /// Has the destination for itself from now on: neither writers nor readers are in it.
  void lock();
  /// Copies all pages and commits.
  void finish(const CopyOptions& options);

 private:
  struct Finished {
    void operator()(sqlite3_backup* backup) const { sqlite3_backup_finish(backup); }
  };

  /// Whether pages are left.
  bool step(int pages);

  const Database& destination_;
  std::unique_ptr<sqlite3_backup, Finished> backup_;
};

/// What is worth a warning.
std::vector<Finding> without_notes(const CheckReport& report);

/// Throws std::runtime_error "<what> has damage: …", with the first of it.
void require_undamaged(const CheckReport& report, const std::string& what);

/// Copies into the file that is to get its name, without a write-ahead log, and checks what is
/// there then: pages, foreign keys, tables. Ends the source's transaction. Throws what require_undamaged throws.
CheckReport copy_to_entry(Database& source, FolderEntry& entry, const CopyOptions& options);

}  // namespace korvane::sqlite
