#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "sqlite/finding.h"
#include "sqlite/row_check.h"

namespace korvane::sqlite {

struct CheckOptions {
  /// How long to wait for others' locks.
  std::chrono::milliseconds wait = std::chrono::minutes(1);
  /// Whether records are read and compared with their columns; else only what SQLite itself finds,
  /// and the tables.
  bool are_rows_read = true;
  /// Called often. What it throws ends the check, and comes out of it.
  std::function<void()> proceed = [] {};
};

/// For CheckOptions::proceed: throws std::runtime_error "\"<filename>\" takes longer to check than
/// files of its size do" once so much time is over since `begin`: a minute and four seconds for each
/// MiB. A file can be made to take for ever, by an index on what takes long to compute.
std::function<void()> within_usual_time(
    const std::string& filename,
    std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now());

struct CheckReport {
  std::string filename;
  FindingList findings;
  /// What the header says the file is; 0 unless it says something.
  std::uint32_t application_id = 0;
  std::int64_t pages = 0;
  std::int64_t page_bytes = 0;
  RowsSeen seen;
  /// Whether a write by the store would run what somebody has put into the file.
  bool has_triggers = false;

  /// Neither damage nor a finding.
  bool is_sound() const {
    return findings.count(Severity::damage) + findings.count(Severity::finding) == 0;
  }
};

/// Looks at a file, as one reader at one moment: others write before or after. Makes no file and
/// changes none. What cannot be opened or read is a finding too; throws only for lack of memory.
CheckReport check_file(const std::string& filename, const CheckOptions& options = {});

/// The same on an open database, in the transaction that it is in, if it is in one. Throws
/// DatabaseError if it cannot be read at all.
void check_database(const Database& database, const CheckOptions& options, CheckReport& report,
                    Mends* mends);

}  // namespace korvane::sqlite
