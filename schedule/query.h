#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/project_rpc/project_service.h"

namespace korvane::schedule {

/// Runs one SQL statement over the columns of a project. A project may be on another machine, which
/// answers what it likes: each row has as many values as there are columns, or it throws
/// std::runtime_error "a row of the reply has <number> values: expected <columns>". Throws what the
/// operation `query_table` throws.
model::table::TABLE query_table(model::cad::Project_Service& project, const std::string& sql);

/// The same for what a statement does.
void execute(model::cad::Project_Service& project, const std::string& sql);

/// The rows of a statement that asks for so many columns: each has as many values, whatever the
/// reply says of its columns. Throws what `query_table` above throws.
std::vector<std::vector<Variant>> query(model::cad::Project_Service& project,
                                        const std::string& sql, std::size_t columns);

/// The same with the number of columns in the type, so that a row can be taken apart by name.
template <std::size_t Columns>
std::vector<std::array<Variant, Columns>> query(model::cad::Project_Service& project,
                                                const std::string& sql) {
  std::vector<std::array<Variant, Columns>> rows;
  for (std::vector<Variant>& values : query(project, sql, Columns)) {
    std::array<Variant, Columns>& row = rows.emplace_back();
    for (std::size_t i = 0; i < Columns; ++i) row[i] = std::move(values[i]);
  }
  return rows;
}

/// Throws std::runtime_error "the reply has <number> rows: expected 1" for another number.
void require_one_row(std::size_t number);

/// The row of a statement that always gives one, such as a count. Throws also what
/// `require_one_row` throws.
template <std::size_t Columns>
std::array<Variant, Columns> query_row(model::cad::Project_Service& project,
                                       const std::string& sql) {
  auto rows = query<Columns>(project, sql);
  require_one_row(rows.size());
  return std::move(rows.front());
}

/// The value of a cell, from a column or an expression. 0 for a cell without one, and for a number
/// that is beyond 64 bits.
std::int64_t integer_in(const Variant& cell);
double number_in(const Variant& cell);

/// `text` as a literal of SQL. A text with a zero byte ends there.
std::string sql_text(std::string_view text);

/// `bytes` as a literal of SQL: x'0A00'.
std::string sql_blob(std::string_view bytes);

}  // namespace korvane::schedule
