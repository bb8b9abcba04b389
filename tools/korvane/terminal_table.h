#pragma once

#include <cstddef>
#include <ostream>
#include <string>

#include "schedule/table.h"

namespace korvane::tools {

/// What a table is printed on.
struct Terminal {
  /// Cells of a line; 0 for lines of any length.
  std::size_t width = 80;
  bool has_colours = false;
};

/// The standard output: as wide as its terminal, else as COLUMNS says, else 80. Colours on a
/// terminal only, and not if NO_COLOR is set and not empty.
Terminal standard_terminal();

/// Prints a table for people: title, columns with their units, rows, totals, notes. A column
/// without any value is left out, and so are those for programs.
///
/// What does not fit: texts wrap, then the later columns go to a second line under each row, as
/// "title value unit" or "title: text", or under the title if all rows have the same value. Numbers
/// are right-aligned at their points. Texts come out as `printable` returns them. Prints the title
/// and "none" for a table without rows.
void print_table(const schedule::Table& table, const Terminal& terminal, std::ostream& output);

/// A line that stands above several tables.
void print_heading(const std::string& text, const Terminal& terminal, std::ostream& output);

}  // namespace korvane::tools
