#include "model/plugins/korvane.model.cad.project/direct_query.h"

#include <cstdint>
#include <limits>
#include <string_view>
#include <typeinfo>
#include <utility>

#include <Poco/Data/SQLite/SessionImpl.h>
#include <Poco/Data/SQLite/Utility.h>
#include <Poco/Exception.h>
#include <sqlite3.h>

namespace korvane::model::cad {

namespace {

using Column = Poco::Data::MetaColumn;
using Poco::Data::SQLite::Utility;

/// Whether the session is one of the data layer's own connector. Another may give other types.
bool is_plain(Poco::Data::Session& session) {
  const Poco::Data::SessionImpl& implementation = *session.impl();
  // coverage: a service's session stays connected
  return typeid(implementation) == typeid(Poco::Data::SQLite::SessionImpl) && session.isConnected();
}

bool is_blank(std::string_view text) {
  return text.find_first_not_of(" \t\r\n\f\v") == std::string_view::npos;
}

/// A text ends at a zero byte, as it does for the data layer.
std::string text_of(sqlite3_stmt* statement, int column) {
  const auto* const first = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  // coverage: NULL is told apart before; no text is there only without memory
  return first == nullptr ? std::string() : std::string(first);
}

std::string bytes_of(sqlite3_stmt* statement, int column) {
  const auto* const first = static_cast<const char*>(sqlite3_column_blob(statement, column));
  if (first == nullptr) return {};
  return {first, static_cast<std::size_t>(sqlite3_column_bytes(statement, column))};
}

bool fits_32_bits(std::int64_t value) {
  using Limits = std::numeric_limits<std::int32_t>;
  return value >= Limits::min() && value <= Limits::max();
}

}  // namespace

std::optional<DirectQuery> DirectQuery::of(Poco::Data::Session& session, const std::string& sql) {
  if (!is_plain(session)) return std::nullopt;
  sqlite3* const connection = Utility::dbHandle(session);
  sqlite3_stmt* statement = nullptr;
  const char* rest = nullptr;
  // The data layer too reads it up to a zero byte.
  if (sqlite3_prepare_v2(connection, sql.c_str(), -1, &statement, &rest) != SQLITE_OK) {
    return std::nullopt;
  }
  DirectQuery query(connection, statement);
  const bool is_alone = statement != nullptr && is_blank(rest);
  if (!is_alone || sqlite3_bind_parameter_count(statement) != 0 || !query.find_types()) {
    return std::nullopt;
  }
  return query;
}

/// Returns whether all columns have a type that is read here.
bool DirectQuery::find_types() {
  const int columns = sqlite3_column_count(statement_.get());
  types_.reserve(static_cast<std::size_t>(columns));
  try {
    for (int i = 0; i < columns; ++i) {
      const auto type = Utility::getColumnType(statement_.get(), static_cast<std::size_t>(i));
      if (type != Column::FDT_INT32 && type != Column::FDT_INT64 && type != Column::FDT_DOUBLE &&
          type != Column::FDT_STRING && type != Column::FDT_BLOB) {
        return false;
      }
      types_.push_back(type);
    }
    // coverage: nothing else is thrown
  } catch (const Poco::NotFoundException&) {
    return false;
  }
  return true;
}

std::string DirectQuery::column_name(std::size_t column) const {
  return sqlite3_column_name(statement_.get(), static_cast<int>(column));
}

void DirectQuery::run() {
  for (;;) {
    const int result = sqlite3_step(statement_.get());
    if (result == SQLITE_DONE) return;
    if (result != SQLITE_ROW) Utility::throwException(connection_, result);
    // What comes after is not given, but the statement takes effect to its end.
    if (!too_large_) read_row();
  }
}

void DirectQuery::read_row() {
  std::vector<Variant>& cells = rows_.emplace_back(types_.size());
  for (std::size_t i = 0; i < types_.size(); ++i) {
    if (sqlite3_column_type(statement_.get(), static_cast<int>(i)) == SQLITE_NULL) {
      ++null_count_;
      continue;
    }
    read_cell(i, cells[i]);
    if (!too_large_) continue;
    cells.resize(i);
    too_large_->cells_before = std::move(cells);
    rows_.pop_back();
    return;
  }
}

void DirectQuery::read_cell(std::size_t column, Variant& cell) {
  sqlite3_stmt* const statement = statement_.get();
  const int at = static_cast<int>(column);
  switch (types_[column]) {
    case Column::FDT_INT32:
      cell.value_int32.set(sqlite3_column_int(statement, at));
      break;
    case Column::FDT_INT64: {
      const std::int64_t value = sqlite3_column_int64(statement, at);
      if (!fits_32_bits(value)) {
        // clang 14 does not accept emplace() here: TooLarge is nested in a class with defaults.
        too_large_ = TooLarge{};
        too_large_->value = value;
      } else {
        cell.value_int32.set(static_cast<std::int32_t>(value));
      }
      break;
    }
    case Column::FDT_DOUBLE:
      cell.value_double.set(sqlite3_column_double(statement, at));
      break;
    case Column::FDT_STRING:
      cell.value_string.set(text_of(statement, at));
      break;
    default:
      cell.value_string.set(bytes_of(statement, at));
  }
}

void DirectQuery::Finalize::operator()(sqlite3_stmt* statement) const noexcept {
  sqlite3_finalize(statement);
}

}  // namespace korvane::model::cad
