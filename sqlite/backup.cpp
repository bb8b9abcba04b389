#include "sqlite/backup.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "sqlite/database.h"
#include "sqlite/folder_entry.h"
#include "sqlite/journal_files.h"
#include "sqlite/page_copy.h"
#include "sqlite/schema_check.h"

namespace korvane::sqlite {

namespace {

namespace fs = std::filesystem;
using Access = Database::Access;
using IfThere = FolderEntry::IfThere;

std::string in_quotes(const std::string& name) { return "\"" + name + "\""; }

bool has_content(const std::string& filename) {
  std::error_code none;
  return fs::file_size(filename, none) > 0 && !none;
}

/// Throws for what is there and is not a file: to put one in the place of a device helps nobody.
void require_place_of_file(const std::string& project, const std::string& name) {
  std::error_code none;
  const fs::file_status status = fs::status(name, none);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    throw std::runtime_error(in_quotes(name) + " is not a file");
  }
  if (is_name_of_journal(project, name)) {
    throw std::runtime_error(in_quotes(name) + " is a name that SQLite has for files of " +
                             in_quotes(project));
  }
}

bool is_there(const std::string& filename) {
  std::error_code none;
  return fs::exists(fs::symlink_status(filename, none));
}

/// Copies into a new file, which is checked before it has its name. Ends the source's transaction.
CopyResult copy_to_new(Database& source, const std::string& to, IfThere if_there,
                       const CopyOptions& options) {
  require_no_journal(to);
  FolderEntry entry(to, source.filename());
  CheckReport report = copy_to_entry(source, entry, options);
  entry.put_in_place(if_there);
  return {to, report.pages * report.page_bytes, without_notes(report),
          if_there == IfThere::replace};
}

/// Copies into a database that is there, in one transaction. None if SQLite finds no database to
/// begin it in.
std::optional<CopyResult> copy_into(const Database& source, const std::string& to,
                                    const CopyOptions& options) {
  const bool was_write_ahead = is_write_ahead(to);
  try {
    Database destination(to, Access::write);
    destination.wait_for_locks(options.wait);
    PageCopy(source, destination).finish(options);
    // The mode came with the pages, and a project is one file. Others may keep it as it is.
    sqlite3_busy_timeout(destination.handle(), 0);
    const char* const mode = "pragma journal_mode = delete";
    if (!was_write_ahead) sqlite3_exec(destination.handle(), mode, nullptr, nullptr, nullptr);
  } catch (const DatabaseError& failure) {
    const int code = failure.code() & 0xFF;
    if (code == SQLITE_NOTADB || code == SQLITE_CORRUPT) return {};
    if (failure.code() != SQLITE_READONLY || !was_write_ahead) throw;
    throw std::runtime_error(in_quotes(to) +
                             " is in write-ahead mode and has pages of another size than the "
                             "backup: restore to another name, or end its write-ahead mode first");
  }
  std::error_code none;
  return CopyResult{to, static_cast<std::int64_t>(fs::file_size(to, none)), {}, false};
}

}  // namespace

CopyResult back_up(const std::string& project, const std::string& to, const CopyOptions& options) {
  std::string target = to;
  if (fs::is_directory(to)) target = (fs::path(to) / fs::path(project).filename()).string();
  std::error_code none;
  if (fs::equivalent(project, target, none)) {
    throw std::runtime_error(in_quotes(target) + " is the project itself");
  }
  require_place_of_file(project, target);
  if (is_there(target) && !options.is_replacing) {
    throw AlreadyThere(target);
  }
  const std::unique_ptr<Database> source = begin_reading(project, options);
  require_project(*source);
  return copy_to_new(*source, target, options.is_replacing ? IfThere::replace : IfThere::fail,
                     options);
}

CopyResult restore(const std::string& backup, const std::string& project,
                   const CopyOptions& options) {
  std::error_code none;
  if (fs::equivalent(backup, project, none)) {
    throw std::runtime_error(in_quotes(project) + " is the backup itself");
  }
  require_place_of_file(backup, project);
  if (has_content(project) && !options.is_replacing) {
    throw AlreadyThere(project);
  }
  const std::unique_ptr<Database> source = begin_reading(backup, options);
  CheckReport report;
  report.filename = backup;
  check_database(*source, {}, report, nullptr);
  require_undamaged(report, in_quotes(backup));
  std::optional<CopyResult> result;
  if (fs::exists(project)) result = copy_into(*source, project, options);
  if (!result) {
    result = copy_to_new(*source, project, fs::exists(project) ? IfThere::replace : IfThere::fail,
                         options);
  }
  result->findings = without_notes(report);
  return *std::move(result);
}

}  // namespace korvane::sqlite
