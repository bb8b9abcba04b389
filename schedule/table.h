#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

/// Tables of results, before anything is decided of how they are printed.
namespace korvane::schedule {

/// One value of a table. None where nothing is known or nothing is stored, which is not the same as
/// 0 or an empty text.
using Cell = std::variant<std::monostate, std::int64_t, double, std::string>;

struct Column {
  enum class Kind { text, number };

  /// What programs know the column by, in lower snake case: a key of JSON, the header of CSV.
  std::string name;
  /// What people read above it.
  std::string title;
  Kind kind = Kind::text;
  /// "mm", "kg", or empty for a number without a unit.
  std::string unit;
  /// How many digits after the point people need. Programs get all.
  int decimals = 3;
  /// People have it in another column, or above the table.
  bool is_for_programs = false;
  /// What people read in place of no value: "unknown".
  std::string if_none = {};
  /// People see nothing in place of 0.
  bool hides_zero = false;
};

struct Table {
  /// In lower snake case: "bars".
  std::string name;
  /// What people read above it.
  std::string title;
  std::vector<Column> columns;
  /// Each of as many cells as there are columns.
  std::vector<std::vector<Cell>> rows;
  /// Rows of sums, for people: no part of the data. Each of as many cells as there are columns.
  std::vector<std::vector<Cell>> totals;
  /// What a reader has to know about the values: what is missing, what is an estimate.
  std::vector<std::string> notes;
};

}  // namespace korvane::schedule
