#include "tools/korvane/output_options.h"

#include <algorithm>
#include <map>
#include <sstream>

#include "schedule/table_text.h"

namespace korvane::tools {

using schedule::Table;

void add_output_options(CLI::App& command, OutputOptions& options) {
  static const std::map<std::string, Format> kFormats = {{"table", Format::table},
                                                         {"csv", Format::csv},
                                                         {"json", Format::json},
                                                         {"ndjson", Format::ndjson}};
  command
      .add_option("--format", options.format,
                  "How to print: table (for people), csv, json or ndjson")
      ->transform(CLI::CheckedTransformer(kFormats).description(""))
      ->type_name("FORMAT")
      ->default_str("table");
  command.add_flag("--wide", options.is_wide,
                   "Print all columns on one line, however wide the terminal is");
  command.add_flag("-q,--quiet", options.is_quiet, "Print nothing to stderr but errors");
}

TablePrinter::TablePrinter(const OutputOptions& options, Tables tables, std::ostream& output)
    : options_(options), tables_(tables), output_(output), terminal_(standard_terminal()) {
  if (options_.is_wide) terminal_.width = 0;
}

void TablePrinter::print_heading(const std::string& text) {
  if (!is_for_people()) return;
  if (!is_first_) output_ << '\n';
  is_first_ = false;
  tools::print_heading(text, terminal_, output_);
}

void TablePrinter::print_for_people(const Table& table) {
  if (!is_for_people()) return;
  if (!is_first_) output_ << '\n';
  is_first_ = false;
  print_table(table, terminal_, output_);
}

void TablePrinter::print(const Table& table) {
  switch (options_.format) {
    case Format::table:
      return print_for_people(table);
    case Format::csv:
      return print_csv(table);
    case Format::json:
      return print_json(table);
    case Format::ndjson:
      return print_ndjson(table);
  }
}

void TablePrinter::finish() {
  if (options_.format == Format::csv) {
    const bool has_rows =
        std::any_of(parts_.begin(), parts_.end(), [](const Part& part) { return part.has_rows; });
    bool is_something_printed = false;
    for (const Part& part : parts_) {
      const bool is_printed_already = is_first(part) && part.has_rows;
      if (!is_printed_already) {
        if (has_rows && !part.has_rows) continue;
        if (!has_rows && is_something_printed) continue;
        if (is_something_printed) output_ << "\r\n";
        part.text.write_to(output_);
      }
      is_something_printed = true;
    }
  } else if (options_.format == Format::json) {
    if (parts_.empty()) output_ << (tables_ == Tables::one ? "[]" : "{}");
    for (const Part& part : parts_) {
      if (!is_first(part)) part.text.write_to(output_);
      output_ << (part.has_rows ? "\n]" : "]");
      if (tables_ == Tables::several) output_ << (&part == &parts_.back() ? "}" : ",\n");
    }
    output_ << '\n';
  }
}

TablePrinter::Part& TablePrinter::part_of(const Table& table) {
  const auto found = std::find_if(parts_.begin(), parts_.end(),
                                  [&](const Part& part) { return part.name == table.name; });
  if (found != parts_.end()) return *found;
  Part& part = parts_.emplace_back();
  part.name = table.name;
  return part;
}

void TablePrinter::put(Part& part, const std::string& text) {
  if (is_first(part)) {
    output_ << text;
  } else {
    part.text.add(text);
  }
}

void TablePrinter::print_csv(const Table& table) {
  const std::size_t known = parts_.size();
  Part& part = part_of(table);
  // The header waits for rows: the table is left out if only others have some.
  if (parts_.size() != known) {
    Table header = table;
    header.rows.clear();
    std::ostringstream text;
    schedule::write_csv(header, text);
    part.text.add(text.str());
  }
  if (table.rows.empty()) return;
  if (!part.has_rows && is_first(part)) part.text.write_to(output_);
  part.has_rows = true;
  std::ostringstream text;
  schedule::write_csv_rows(table, text);
  put(part, text.str());
}

void TablePrinter::print_json(const Table& table) {
  const std::size_t known = parts_.size();
  Part& part = part_of(table);
  std::ostringstream text;
  if (parts_.size() != known) {
    if (tables_ == Tables::several) {
      text << (known == 0 ? "{" : "") << schedule::json_text(table.name) << ':';
    }
    text << '[';
  }
  for (const auto& row : table.rows) {
    text << (part.has_rows ? ",\n" : "\n");
    part.has_rows = true;
    schedule::write_json_row(table, row, text);
  }
  put(part, text.str());
}

void TablePrinter::print_ndjson(const Table& table) {
  const std::string name =
      tables_ == Tables::one ? "" : "\"table\":" + schedule::json_text(table.name);
  for (const auto& row : table.rows) {
    schedule::write_json_row(table, row, output_, name);
    output_ << '\n';
  }
}

}  // namespace korvane::tools
