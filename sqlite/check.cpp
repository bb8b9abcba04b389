#include "sqlite/check.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "sqlite/application_id.h"
#include "sqlite/file_content.h"
#include "sqlite/journal_files.h"
#include "sqlite/relation_check.h"

namespace korvane::sqlite {

namespace {

using Access = Database::Access;

void tell(CheckReport& report, Kind kind, std::string text) {
  Finding finding;
  finding.kind = kind;
  finding.text = std::move(text);
  report.findings.add(std::move(finding));
}

std::string reason() { return std::system_category().message(errno); }

/// Opens the file in the way that changes nothing about it or beside it. None for what is no
/// database, which is told.
std::unique_ptr<Database> open(CheckReport& report) {
  const std::string& filename = report.filename;
  struct stat status {};
  if (::stat(filename.c_str(), &status) != 0) {
    tell(report, Kind::unreadable, "cannot be opened: " + reason());
    return nullptr;
  }
  if (!S_ISREG(status.st_mode)) {
    tell(report, Kind::unreadable, "is not a file");
    return nullptr;
  }
  const std::optional<std::string> header = first_bytes(filename, kHeaderBytes);
  if (!header) {
    tell(report, Kind::unreadable, "cannot be read: " + reason());
    return nullptr;
  }
  if (header->empty()) {
    tell(report, Kind::not_a_project, "is empty");
    return nullptr;
  }
  if (!is_header(*header)) {
    tell(report, Kind::not_a_database, "is not a database");
    return nullptr;
  }
  if (!is_write_ahead_header(*header)) {
    return std::make_unique<Database>(filename, Access::read);
  }
  // To read the log SQLite needs an index of it beside the file, and would make one.
  if (!has_beside(filename, "-wal")) return std::make_unique<Database>(filename, Access::settled);
  if (!has_beside(filename, "-shm")) {
    tell(
        report, Kind::journal,
        "a write-ahead log lies beside it that nobody has taken in; the file was not read further");
    return nullptr;
  }
  tell(report, Kind::write_ahead_log, "changes wait in a write-ahead log beside it");
  return std::make_unique<Database>(filename, Access::read);
}

void tell_failure(CheckReport& report, const DatabaseError& failure) {
  switch (failure.code()) {
    case SQLITE_READONLY_ROLLBACK:
      return tell(report, Kind::journal,
                  "the journal of a write that was broken off lies beside it; the file was not "
                  "read further");
    case SQLITE_NOTADB:
      return tell(report, Kind::not_a_database, "is not a database");
    default:
      break;
  }
  // An error in SQL says what is wrong in its own text alone.
  const std::string text =
      failure.code() == SQLITE_ERROR ? failure.what() : sqlite3_errstr(failure.code());
  switch (failure.code() & 0xFF) {
    case SQLITE_CORRUPT:
      return tell(report, Kind::pages, "SQLite: " + text);
    case SQLITE_BUSY:
      return tell(report, Kind::unreadable,
                  "another program kept it locked for as long as was waited");
    default:
      return tell(report, Kind::unreadable, "SQLite: " + text);
  }
}

std::int64_t integer_of(const Database& database, const std::string& sql) {
  Statement statement(database, sql);
  return statement.next() ? statement.integer(0) : 0;
}

std::string hex_number(std::uint32_t number) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text = "0x";
  for (int shift = 28; shift >= 0; shift -= 4) text += kDigits[(number >> shift) & 0xF];
  return text;
}

}  // namespace

void check_database(const Database& database, const CheckOptions& options, CheckReport& report,
                    Mends* mends) {
  report.pages = integer_of(database, "pragma main.page_count");
  report.page_bytes = integer_of(database, "pragma main.page_size");
  report.application_id =
      static_cast<std::uint32_t>(integer_of(database, "pragma main.application_id"));
  report.has_triggers =
      integer_of(database, "select count(*) from main.sqlite_schema where type = 'trigger'") != 0;
  const FoundTables found = check_schema(database, report.findings);
  if (report.application_id != 0 && report.application_id != kApplicationId) {
    tell(report, Kind::not_ours,
         "the application id " + hex_number(report.application_id) + " is not a project's");
  }
  check_integrity(database, report.findings);
  if (found.empty()) return;
  check_relations(database, found, report.findings);
  if (options.are_rows_read) report.seen = check_rows(database, found, report.findings, mends);
}

std::function<void()> within_usual_time(const std::string& filename,
                                        std::chrono::steady_clock::time_point begin) {
  // Of a disk that is slow, and busy.
  constexpr std::chrono::seconds kAtLeast{60};
  constexpr std::uintmax_t kBytesOfSecond = std::uintmax_t{256} << 10U;
  std::error_code none;
  const std::uintmax_t bytes = std::filesystem::file_size(filename, none);
  const auto seconds = none ? 0 : static_cast<std::chrono::seconds::rep>(bytes / kBytesOfSecond);
  const auto end = begin + kAtLeast + std::chrono::seconds(seconds);
  return [filename, end] {
    if (std::chrono::steady_clock::now() < end) return;
    throw std::runtime_error("\"" + filename +
                             "\" takes longer to check than files of its size do");
  };
}

CheckReport check_file(const std::string& filename, const CheckOptions& options) {
  CheckReport report;
  report.filename = filename;
  try {
    const std::unique_ptr<Database> database = open(report);
    if (!database) return report;
    database->wait_for_locks(options.wait);
    database->distrust();
    database->bound_values();
    database->ask_while_running(options.proceed);
    database->run("begin");
    check_database(*database, options, report, nullptr);
  } catch (const DatabaseError& failure) {
    tell_failure(report, failure);
  }
  return report;
}

}  // namespace korvane::sqlite
