#include "tools/korvane/sql_result.h"

#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "contracts/encoding/base64.h"

namespace korvane::tools {

using schedule::Cell;
using schedule::Column;
using schedule::Table;
using sqlite::Statement;

namespace {

constexpr std::size_t kRowsAtATime = 2'000;
constexpr int kDecimals = 9;

/// Prints rows as they come, or all at the end where people read them.
class RowPrinter {
 public:
  RowPrinter(const std::vector<std::string>& names, const OutputOptions& options,
             std::ostream& output)
      : printer_(options, TablePrinter::Tables::one, output), output_(output) {
    table_.name = "result";
    std::set<std::string> taken;
    for (const std::string& name : names) {
      Column column;
      column.name = name;
      for (int i = 2; !taken.insert(column.name).second; ++i) {
        column.name = name + "_" + std::to_string(i);
      }
      column.title = name;
      column.decimals = kDecimals;
      column.if_none = "NULL";
      table_.columns.push_back(std::move(column));
    }
  }

  void add(std::vector<Cell> row) {
    table_.rows.push_back(std::move(row));
    ++count_;
    if (!printer_.is_for_people() && table_.rows.size() == kRowsAtATime) print();
  }

  std::size_t finish() {
    if (printer_.is_for_people()) align_numbers();
    // Without any rows too: CSV has its header.
    if (!table_.rows.empty() || count_ == 0) print();
    printer_.finish();
    return count_;
  }

 private:
  void print() {
    printer_.print(table_);
    table_.rows.clear();
    if (!output_) throw std::runtime_error("cannot write to the standard output");
  }

  /// A column without texts is one of numbers.
  void align_numbers() {
    for (std::size_t i = 0; i < table_.columns.size(); ++i) {
      bool has_texts = false;
      for (const auto& row : table_.rows) {
        has_texts = has_texts || std::holds_alternative<std::string>(row[i]);
      }
      table_.columns[i].kind = has_texts ? Column::Kind::text : Column::Kind::number;
    }
  }

  Table table_;
  TablePrinter printer_;
  std::ostream& output_;
  std::size_t count_ = 0;
};

Cell cell_of(const Statement& statement, int column) {
  switch (statement.type(column)) {
    case SQLITE_INTEGER:
      return statement.integer(column);
    case SQLITE_FLOAT:
      return statement.real(column);
    case SQLITE_TEXT:
      return std::string(statement.text(column));
    case SQLITE_BLOB:
      return encoding::detail::base64_text(statement.bytes(column));
    default:
      return {};
  }
}

Cell cell_of(const Variant& value) {
  if (value.value_int32.hasvalue()) return std::int64_t{*value.value_int32};
  if (value.value_double.hasvalue()) return *value.value_double;
  if (value.value_string.hasvalue()) return *value.value_string;
  return {};
}

}  // namespace

std::size_t print_rows(Statement& statement, const OutputOptions& options, std::ostream& output) {
  const int count = statement.column_count();
  if (count == 0) {
    while (statement.next()) {
    }
    return 0;
  }
  std::vector<std::string> names;
  for (int i = 0; i < count; ++i) names.push_back(statement.column_name(i));
  RowPrinter printer(names, options, output);
  while (statement.next()) {
    std::vector<Cell> row;
    row.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) row.push_back(cell_of(statement, i));
    printer.add(std::move(row));
  }
  return printer.finish();
}

std::size_t print_rows(const model::table::TABLE& reply, const OutputOptions& options,
                       std::ostream& output) {
  if (reply.columns.empty()) return 0;
  std::vector<std::string> names;
  for (const auto& column : reply.columns) names.push_back(column.name);
  RowPrinter printer(names, options, output);
  for (const auto& values : reply.rows) {
    std::vector<Cell> row;
    for (const Variant& value : values) row.push_back(cell_of(value));
    printer.add(std::move(row));
  }
  return printer.finish();
}

}  // namespace korvane::tools
