#include "sqlite/cell.h"

#include <charconv>
#include <cmath>
#include <system_error>
#include <type_traits>

namespace korvane::sqlite {

namespace {

namespace tables = model::tables;

constexpr std::size_t kShownBytes = 60;

std::string number_text(double value) {
  char digits[32];
  const auto end = std::to_chars(digits, digits + sizeof(digits), value);
  const std::string text(digits, end.ptr);
  return text.find_first_not_of("-0123456789") == std::string::npos ? text + ".0" : text;
}

/// Whole characters of UTF-8.
std::string_view shown(std::string_view text) {
  if (text.size() <= kShownBytes) return text;
  std::size_t end = kShownBytes;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return text.substr(0, end);
}

std::string text_literal(std::string_view text) {
  const std::string_view part = shown(text);
  std::string literal = "'";
  for (const char c : part) literal += c == '\'' ? std::string("''") : std::string(1, c);
  return literal + (part.size() < text.size() ? "…'" : "'");
}

std::string hex_literal(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  const std::string_view part = bytes.substr(0, kShownBytes / 2);
  std::string literal = "x'";
  for (const char c : part) {
    const auto byte = static_cast<unsigned char>(c);
    literal += kDigits[byte >> 4];
    literal += kDigits[byte & 0xF];
  }
  return literal + (part.size() < bytes.size() ? "…'" : "'");
}

}  // namespace

Cell cell_at(const Statement& statement, int column) {
  switch (statement.type(column)) {
    case SQLITE_INTEGER:
      return statement.integer(column);
    case SQLITE_FLOAT:
      return statement.real(column);
    case SQLITE_TEXT:
      return std::string(statement.text(column));
    case SQLITE_BLOB:
      return Blob{std::string(statement.bytes(column))};
    default:
      return {};
  }
}

void bind_cell(Statement& statement, int parameter, const Cell& cell) {
  std::visit(
      [&]<class T>(const T& value) {
        if constexpr (std::is_same_v<T, std::monostate>) {
          statement.bind_null(parameter);
        } else if constexpr (std::is_same_v<T, Blob>) {
          statement.bind_bytes(parameter, value.bytes);
        } else {
          statement.bind(parameter, value);
        }
      },
      cell);
}

void bind_cell(Statement& statement, int parameter, const tables::Value& value) {
  std::visit(
      [&]<class T>(const T& held) {
        if constexpr (std::is_same_v<T, std::monostate>) {
          statement.bind_null(parameter);
        } else if constexpr (std::is_same_v<T, tables::Bytes>) {
          statement.bind_bytes(parameter, {static_cast<const char*>(held.data), held.size});
        } else if constexpr (std::is_integral_v<T>) {
          statement.bind(parameter, static_cast<std::int64_t>(held));
        } else {
          statement.bind(parameter, held);
        }
      },
      value);
}

CellView view_at(const Statement& statement, int column) {
  switch (statement.type(column)) {
    case SQLITE_INTEGER:
      return statement.integer(column);
    case SQLITE_FLOAT:
      return statement.real(column);
    case SQLITE_TEXT:
      return statement.text(column);
    case SQLITE_BLOB: {
      const std::string_view bytes = statement.bytes(column);
      return tables::Bytes{bytes.data(), bytes.size()};
    }
    default:
      return {};
  }
}

CellView view_of(const Cell& cell) {
  return std::visit(
      []<class T>(const T& value) -> CellView {
        if constexpr (std::is_same_v<T, std::string>) {
          return std::string_view(value);
        } else if constexpr (std::is_same_v<T, Blob>) {
          return tables::Bytes{value.bytes.data(), value.bytes.size()};
        } else {
          return value;
        }
      },
      cell);
}

bool is_same(const CellView& stored, const tables::Value& value) {
  return std::visit(
      [&]<class S, class V>(const S& found, const V& said) {
        if constexpr (std::is_same_v<S, V>) {
          return found == said;
        } else if constexpr (std::is_same_v<S, std::monostate> && std::is_same_v<V, double>) {
          return std::isnan(said);
        } else if constexpr (std::is_same_v<S, std::int64_t> && std::is_integral_v<V>) {
          return found == static_cast<std::int64_t>(said);
        } else if constexpr (std::is_same_v<S, double> && std::is_integral_v<V>) {
          return found == static_cast<double>(said);
        } else {
          return false;
        }
      },
      stored, value);
}

std::string literal_of(const Cell& cell) {
  return std::visit(
      []<class T>(const T& value) -> std::string {
        if constexpr (std::is_same_v<T, std::monostate>) {
          return "NULL";
        } else if constexpr (std::is_same_v<T, std::int64_t>) {
          return std::to_string(value);
        } else if constexpr (std::is_same_v<T, double>) {
          return number_text(value);
        } else if constexpr (std::is_same_v<T, Blob>) {
          return hex_literal(value.bytes);
        } else {
          return text_literal(value);
        }
      },
      cell);
}

}  // namespace korvane::sqlite
