#include "sqlite/page_copy.h"

#include <filesystem>
#include <stdexcept>
#include <utility>

#include "sqlite/journal_files.h"
#include "sqlite/schema_check.h"

namespace korvane::sqlite {

namespace {

namespace fs = std::filesystem;
using Access = Database::Access;

constexpr int kPagesOfAStep = 512;
/// Where a header says in two bytes who may write and read, and those of a file without a
/// write-ahead log.
constexpr long kVersions = 18;
constexpr const char* kWithoutLog = "\x01\x01";

std::string in_quotes(const std::string& name) { return "\"" + name + "\""; }

std::int64_t page_count(const Database& database) {
  Statement pages(database, "pragma page_count");
  return pages.next() ? pages.integer(0) : 0;
}

}  // namespace

std::unique_ptr<Database> begin_reading(const std::string& filename, const CopyOptions& options) {
  if (!fs::exists(filename)) throw std::runtime_error("no project " + filename);
  if (!fs::is_regular_file(filename))
    throw std::runtime_error(in_quotes(filename) + " is not a file");
  const auto begun = [&](Access access) {
    auto database = std::make_unique<Database>(filename, access);
    database->wait_for_locks(options.wait);
    database->distrust();
    database->run("begin; select count(*) from sqlite_schema");
    database->bound_values();
    return database;
  };
  const bool is_at_rest = is_log_at_rest(filename);
  try {
    return begun(is_at_rest ? Access::write : Access::read);
  } catch (const DatabaseError& failure) {
    const int code = failure.code() & 0xFF;
    if (code != SQLITE_READONLY && code != SQLITE_CANTOPEN) throw;
  }
  if (is_at_rest) return begun(Access::settled);  // its folder cannot be written
  return begun(Access::write);                    // takes in the journal that a reader may not
}

PageCopy::PageCopy(const Database& source, const Database& destination)
    : destination_(destination),
      backup_(sqlite3_backup_init(destination.handle(), "main", source.handle(), "main")) {
  if (!backup_) destination.fail();
}

void PageCopy::lock() { step(0); }

bool PageCopy::step(int pages) {
  const int code = sqlite3_backup_step(backup_.get(), pages);
  if (code == SQLITE_OK || code == SQLITE_DONE) return code == SQLITE_OK;
  throw DatabaseError(in_quotes(destination_.filename()) + ": " + sqlite3_errstr(code), code);
}

void PageCopy::finish(const CopyOptions& options) {
  while (step(kPagesOfAStep)) {
    const int total = sqlite3_backup_pagecount(backup_.get());
    options.progress(static_cast<std::size_t>(total - sqlite3_backup_remaining(backup_.get())),
                     static_cast<std::size_t>(total));
  }
  backup_.reset();
}

std::vector<Finding> without_notes(const CheckReport& report) {
  std::vector<Finding> findings;
  for (Finding& finding : report.findings.listed()) {
    if (finding.severity() != Severity::note) findings.push_back(std::move(finding));
  }
  return findings;
}

void require_undamaged(const CheckReport& report, const std::string& what) {
  for (const Finding& finding : report.findings.listed()) {
    if (finding.severity() == Severity::damage) {
      throw std::runtime_error(what + " has damage: " + finding.text);
    }
  }
}

CheckReport copy_to_entry(Database& source, FolderEntry& entry, const CopyOptions& options) {
  {
    Database destination(entry.path(), Access::write);
    destination.run("pragma journal_mode = off; pragma synchronous = off");
    PageCopy(source, destination).finish(options);
  }
  const std::int64_t pages = page_count(source);
  source.run("rollback");  // writers may go on
  entry.overwrite(kVersions, kWithoutLog);
  CheckOptions check;
  check.are_rows_read = false;
  check.proceed = [&, require_time = within_usual_time(entry.path())] {
    require_time();
    const auto all = static_cast<std::size_t>(pages);
    options.progress(all, all);
  };
  CheckReport report = check_file(entry.path(), check);
  require_undamaged(report, "the copy of " + in_quotes(source.filename()));
  if (pages != report.pages) {
    throw std::runtime_error("the copy of " + in_quotes(source.filename()) +
                             " does not have all of its pages");
  }
  return report;
}

}  // namespace korvane::sqlite
