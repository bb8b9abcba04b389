#include "schedule/query.h"

#include <cstdlib>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>

#include <boost/algorithm/hex.hpp>

namespace korvane::schedule {

model::table::TABLE query(model::cad::Project_Service& project, const std::string& sql) {
  model::table::GET_TABLE request;
  request.kind = "sql:raw";
  request.params["query"].value_string.set(sql);
  model::table::TABLE result;
  project.query_table(std::move(request), result);
  // Another machine may have answered, which says what it likes.
  for (const auto& row : result.rows) {
    if (row.size() != result.columns.size()) {
      throw std::runtime_error("a row of the reply has " + std::to_string(row.size()) +
                               " values: expected " + std::to_string(result.columns.size()));
    }
  }
  return result;
}

// An expression, such as a sum, has no declared type: its value comes as text.

std::int64_t integer_in(const Variant& cell) {
  if (cell.value_int32.hasvalue()) return *cell.value_int32;
  if (cell.value_double.hasvalue()) return static_cast<std::int64_t>(*cell.value_double);
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
