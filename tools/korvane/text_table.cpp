#include "tools/korvane/text_table.h"

#include <algorithm>
#include <cstddef>
#include <iomanip>
#include <sstream>
#include <utility>

#include "platform/log/log.h"

namespace korvane::tools {

namespace {

std::size_t width_of(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) != 0x80;  // not a continuation byte
  }));
}

}  // namespace

TextTable::TextTable(std::vector<Column> columns) : columns_(std::move(columns)) {}

void TextTable::add_row(std::vector<std::string> cells) {
  for (std::string& cell : cells) cell = printable(cell);
  rows_.push_back(std::move(cells));
}

void TextTable::print(std::ostream& output) const {
  std::vector<std::string> titles;
  std::vector<std::size_t> widths;
  for (const Column& column : columns_) {
    titles.push_back(column.title);
    widths.push_back(width_of(column.title));
  }
  for (const auto& row : rows_) {
    for (std::size_t i = 0; i < widths.size(); ++i) {
      widths[i] = std::max(widths[i], width_of(row[i]));
    }
  }
  const auto print_row = [&](const std::vector<std::string>& cells) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
      const std::string padding(widths[i] - width_of(cells[i]), ' ');
      if (i != 0) line += "  ";
      line += columns_[i].align == Align::right ? padding + cells[i] : cells[i] + padding;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    output << line << '\n';
  };
  print_row(titles);
  std::vector<std::string> rule;
  for (const std::size_t width : widths) rule.emplace_back(width, '-');
  print_row(rule);
  for (const auto& row : rows_) print_row(row);
}

std::string printable(std::string_view text) {
  const auto is_control = [](wchar_t code) { return code < 0x20 || (code >= 0x7F && code < 0xA0); };
  std::wstring wide = krv::log::widen(text);
  std::replace_if(wide.begin(), wide.end(), is_control, L'?');
  return krv::log::narrow(wide);
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

std::string format_count(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace korvane::tools
