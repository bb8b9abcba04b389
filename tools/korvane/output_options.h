#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "schedule/table.h"
#include "tools/korvane/spilled_text.h"
#include "tools/korvane/terminal_table.h"

namespace korvane::tools {

enum class Format { table, csv, json, ndjson };

/// How a command prints its tables.
struct OutputOptions {
  Format format = Format::table;
  bool is_wide = false;
  bool is_quiet = false;
};

/// Adds --format, --wide and --quiet.
void add_output_options(CLI::App& command, OutputOptions& options);

/// Prints the tables of one command in the format that was asked for.
///
/// - For people: one after another, as `print_table` does, with an empty line between.
/// - CSV: a header and the rows. Tables of different names follow each other with an empty line
///   between; one without rows is left out if another has some.
/// - JSON: an array; of a command with several tables an object of arrays by table name.
/// - NDJSON: an object for each row; of a command with several tables with the name of its table as
///   first member "table".
///
/// A table may come in several parts, each a Table of the same name and columns, and no more than one
/// part is in memory. Only people see the totals, the notes and the headings.
class TablePrinter {
 public:
  /// Whether the command prints one table, or several by name.
  enum class Tables { one, several };

  TablePrinter(const OutputOptions& options, Tables tables, std::ostream& output);

  bool is_for_people() const { return options_.format == Format::table; }

  /// For people alone.
  void print_heading(const std::string& text);
  void print_for_people(const schedule::Table& table);

  void print(const schedule::Table& table);

  /// Prints what is still held. The last call.
  void finish();

 private:
  /// A table whose parts are collected; the first one is printed as it comes.
  struct Part {
    std::string name;
    bool has_rows = false;
    SpilledText text;
  };

  Part& part_of(const schedule::Table& table);
  bool is_first(const Part& part) const { return &part == &parts_.front(); }
  void put(Part& part, const std::string& text);
  void print_csv(const schedule::Table& table);
  void print_json(const schedule::Table& table);
  void print_ndjson(const schedule::Table& table);

  OutputOptions options_;
  Tables tables_;
  std::ostream& output_;
  Terminal terminal_;
  bool is_first_ = true;
  std::vector<Part> parts_;
};

}  // namespace korvane::tools
