#include "schedule/query.h"

#include <cstdlib>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>

#include <boost/algorithm/hex.hpp>

namespace korvane::schedule {

namespace {

model::table::TABLE run(model::cad::Project_Service& project, const std::string& sql) {
  model::table::GET_TABLE request;
  request.kind = "sql:raw";
  request.params["query"].value_string.set(sql);
  model::table::TABLE result;
  project.query_table(std::move(request), result);
  return result;
}

void require_values(const model::table::TABLE& result, std::size_t columns) {
  for (const auto& row : result.rows) {
    if (row.size() == columns) continue;
    throw std::runtime_error("a row of the reply has " + std::to_string(row.size()) +
                             " values: expected " + std::to_string(columns));
  }
}

}  // namespace

model::table::TABLE query_table(model::cad::Project_Service& project, const std::string& sql) {
  model::table::TABLE result = run(project, sql);
  require_values(result, result.columns.size());
  return result;
}

void execute(model::cad::Project_Service& project, const std::string& sql) { run(project, sql); }

std::vector<std::vector<Variant>> query(model::cad::Project_Service& project,
                                        const std::string& sql, std::size_t columns) {
  model::table::TABLE result = run(project, sql);
  require_values(result, columns);
  return std::move(result.rows);
}

void require_one_row(std::size_t number) {
  if (number == 1) return;
  throw std::runtime_error("the reply has " + std::to_string(number) + " rows: expected 1");
}

// An expression, such as a sum, has no declared type: its value comes as text.

std::int64_t integer_in(const Variant& cell) {
  if (cell.value_int32.hasvalue()) return *cell.value_int32;
  if (cell.value_double.hasvalue()) {
    constexpr double kBeyond = 0x1p63;
    const double number = *cell.value_double;
    return number >= -kBeyond && number < kBeyond ? static_cast<std::int64_t>(number) : 0;
  }
  if (cell.value_string.hasvalue()) return std::atoll(cell.value_string->c_str());
  return 0;
}

double number_in(const Variant& cell) {
  if (cell.value_int32.hasvalue()) return *cell.value_int32;
  if (cell.value_double.hasvalue()) return *cell.value_double;
  if (cell.value_string.hasvalue()) return std::strtod(cell.value_string->c_str(), nullptr);
  return 0;
}

std::string sql_text(std::string_view text) {
  text = text.substr(0, text.find('\0'));
  std::string literal = "'";
  for (const char c : text) {
    literal += c;
    if (c == '\'') literal += c;
  }
  return literal + "'";
}

std::string sql_blob(std::string_view bytes) {
  std::string literal = "x'";
  literal.reserve(bytes.size() * 2 + 3);
  boost::algorithm::hex(bytes, std::back_inserter(literal));
  return literal + "'";
}

}  // namespace korvane::schedule
