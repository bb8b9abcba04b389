#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sqlite/check.h"

namespace korvane::sqlite {

/// One thing that a repair did, or had to leave.
struct Repair {
  Kind kind{};
  bool is_done = false;
  std::string table = {};
  std::optional<std::int64_t> row = {};
  std::string column = {};
  /// Literals of SQL.
  std::string before = {};
  std::string after = {};
  /// The whole of it for people.
  std::string text = {};
};

struct RepairOptions {
  std::chrono::milliseconds wait = std::chrono::minutes(1);
  /// Whether bar spacers of revisions that are gone go too.
  bool are_orphans_removed = false;
};

/// Mends what can be mended without loss (`KindDescription::repair`), in one transaction: all of it
/// or nothing. Nothing at all where SQLite finds damage in the pages. Unfinished changes are not its
/// business. A journal beside the file is SQLite's, which takes the write back as soon as the file
/// is opened. Throws DatabaseError.
std::vector<Repair> repair_file(const std::string& filename, const RepairOptions& options = {});

}  // namespace korvane::sqlite
