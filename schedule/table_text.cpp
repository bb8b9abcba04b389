#include "schedule/table_text.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iomanip>
#include <sstream>
#include <string_view>
#include <variant>

#include <nlohmann/json.hpp>

#include "contracts/encoding/json_text.h"

namespace korvane::schedule {

namespace {

/// What a visitor of a cell does with each kind of value.
template <class... Each>
struct Cases : Each... {
  using Each::operator()...;
};
template <class... Each>
Cases(Each...) -> Cases<Each...>;

std::string exact_number(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  // Many readers take "-0" for the integer, which has no sign.
  if (value == 0 && std::signbit(value)) return "-0.0";
  return encoding::detail::number_text(value);
}

std::string csv_text(const std::string& text) {
  if (!text.empty() && text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) {
    quoted += c;
    if (c == '"') quoted += c;
  }
  return quoted + "\"";
}

std::string csv_cell(const Cell& cell) {
  return std::visit(Cases{[](std::monostate) { return std::string(); },
                          [](std::int64_t value) { return std::to_string(value); },
                          [](double value) { return exact_number(value); },
                          [](const std::string& text) { return csv_text(text); }},
                    cell);
}

}  // namespace

void write_csv(const Table& table, std::ostream& output) {
  const char* separator = "";
  for (const Column& column : table.columns) {
    output << separator << csv_text(column.name);
    separator = ",";
  }
  output << "\r\n";
  write_csv_rows(table, output);
}

void write_csv_rows(const Table& table, std::ostream& output) {
  for (const auto& row : table.rows) {
    const char* separator = "";
    for (const Cell& cell : row) {
      output << separator << csv_cell(cell);
      separator = ",";
    }
    output << "\r\n";
  }
}

void write_json(const Table& table, std::ostream& output) {
  output << '[';
  const char* separator = "\n";
  for (const auto& row : table.rows) {
    output << separator;
    write_json_row(table, row, output);
    separator = ",\n";
  }
  output << (table.rows.empty() ? "]\n" : "\n]\n");
}

void write_ndjson(const Table& table, std::ostream& output) {
  for (const auto& row : table.rows) {
    write_json_row(table, row, output);
    output << '\n';
  }
}

void write_json_row(const Table& table, const std::vector<Cell>& row, std::ostream& output,
                    const std::string& first_member) {
  output << '{' << first_member;
  const char* separator = first_member.empty() ? "" : ",";
  for (std::size_t i = 0; i < row.size(); ++i) {
    output << separator << json_text(table.columns[i].name) << ':' << json_cell(row[i]);
    separator = ",";
  }
  output << '}';
}

std::string json_cells(const std::vector<Cell>& row) {
  std::string text = "[";
  for (const Cell& cell : row) {
    if (text.size() > 1) text += ',';
    text += json_cell(cell);
  }
  return text += ']';
}

std::string json_cell(const Cell& cell) {
  return std::visit(
      Cases{[](std::monostate) { return std::string("null"); },
            [](std::int64_t value) { return std::to_string(value); },
            [](double value) { return std::isfinite(value) ? exact_number(value) : "null"; },
            [](const std::string& text) { return json_text(text); }},
      cell);
}

std::string json_text(const std::string& text) {
  const bool is_plain = std::all_of(text.begin(), text.end(), [](char c) {
    return c >= ' ' && c != '"' && c != '\\' && static_cast<unsigned char>(c) < 0x80;
  });
  if (is_plain) return '"' + text + '"';
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string format_number(double value, int decimals) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(decimals) << value;
  std::string result = text.str();
  if (result.find('.') != std::string::npos) {
    result.erase(result.find_last_not_of('0') + 1);
    if (result.back() == '.') result.pop_back();
  }
  return result == "-0" ? "0" : result;
}

}  // namespace korvane::schedule
