#include "model/plugins/korvane.model.cad.project/prepared_statement.h"

#include <limits>
#include <variant>

#include <Poco/Data/DataException.h>
#include <Poco/Data/SQLite/Utility.h>
#include <Poco/Data/SessionImpl.h>
#include <sqlite3.h>

#include "platform/rpc4/failure.h"

namespace korvane::model::cad {

namespace {

/// Hands a value to SQLite, which reads texts and bytes where they lie. Returns SQLite's result.
struct Binding {
  sqlite3_stmt* statement;
  int position;

  int operator()(std::monostate) const { return sqlite3_bind_null(statement, position); }
  /// A truth value too, as 0 or 1.
  int operator()(std::int32_t value) const { return sqlite3_bind_int(statement, position, value); }
  int operator()(double value) const { return sqlite3_bind_double(statement, position, value); }
  int operator()(std::string_view value) const {
    return sqlite3_bind_text(statement, position, value.data(), static_cast<int>(value.size()),
                             SQLITE_STATIC);
  }
  int operator()(tables::Bytes value) const {
    return sqlite3_bind_blob(statement, position, value.data, static_cast<int>(value.size),
                             SQLITE_STATIC);
  }
};

}  // namespace

PreparedStatement::PreparedStatement(Parsed, Poco::Data::Session& session, const std::string& sql) {
  if (!session.isConnected()) {
    throw Poco::Data::NotConnectedException(session.impl()->connectionString());
  }
  connection_ = Poco::Data::SQLite::Utility::dbHandle(session);
  sqlite3_stmt* statement = nullptr;
  check(sqlite3_prepare_v2(connection_, sql.data(), static_cast<int>(sql.size()), &statement,
                           nullptr));
  statement_.reset(statement);
}

void PreparedStatement::bind(std::size_t position, const tables::Value& value) {
  check(std::visit(Binding{statement_.get(), static_cast<int>(position)}, value));
}

bool PreparedStatement::step() {
  const int result = sqlite3_step(statement_.get());
  if (result == SQLITE_ROW) return true;
  sqlite3_reset(statement_.get());
  if (result != SQLITE_DONE) Poco::Data::SQLite::Utility::throwException(connection_, result);
  return false;
}

bool PreparedStatement::is_in_transaction() const noexcept {
  return sqlite3_get_autocommit(connection_) == 0;
}

std::string_view PreparedStatement::text(int column) const {
  const auto* const first =
      reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
  const int size = sqlite3_column_bytes(statement_.get(), column);
  if (first == nullptr) return {};
  return {first, static_cast<std::size_t>(size)};
}

std::string_view PreparedStatement::bytes(int column) const {
  const auto* const first = static_cast<const char*>(sqlite3_column_blob(statement_.get(), column));
  const int size = sqlite3_column_bytes(statement_.get(), column);
  if (first == nullptr) return {};
  return {first, static_cast<std::size_t>(size)};
}

std::int32_t PreparedStatement::id(int column, std::string_view table) const {
  using Limits = std::numeric_limits<std::int32_t>;
  const std::int64_t value = sqlite3_column_int64(statement_.get(), column);
  if (value < Limits::min() || value > Limits::max()) {
    throw krv::rpc4::UnusableRow(std::string(table) + ": the id " + std::to_string(value) +
                                 " does not fit 32 bits");
  }
  return static_cast<std::int32_t>(value);
}

void PreparedStatement::Finalize::operator()(sqlite3_stmt* statement) const noexcept {
  sqlite3_finalize(statement);
}

void PreparedStatement::check(int result) const {
  if (result != SQLITE_OK) Poco::Data::SQLite::Utility::throwException(connection_, result);
}

}  // namespace korvane::model::cad
