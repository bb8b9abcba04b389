#include "model/plugins/korvane.model.cad.project/prepared_statement.h"

#include <limits>

#include <Poco/Data/SQLite/Utility.h>
#include <sqlite3.h>

#include "platform/rpc4/failure.h"

namespace korvane::model::cad {

namespace {

/// A session says itself that it has no connection when it is asked for a statement.
void require_connection(Poco::Data::Session& session, const std::string& sql) {
  if (!session.isConnected()) session << sql;
}

}  // namespace

PreparedStatement::PreparedStatement(Poco::Data::Session& session, const std::string& sql) {
  require_connection(session, sql);
  connection_ = Poco::Data::SQLite::Utility::dbHandle(session);
  sqlite3_stmt* statement = nullptr;
  check(sqlite3_prepare_v2(connection_, sql.data(), static_cast<int>(sql.size()), &statement,
                           nullptr));
  statement_.reset(statement);
}

void PreparedStatement::bind(std::size_t position, std::int32_t value) {
  check(sqlite3_bind_int(statement_.get(), static_cast<int>(position), value));
}

void PreparedStatement::bind(std::size_t position, double value) {
  check(sqlite3_bind_double(statement_.get(), static_cast<int>(position), value));
}

void PreparedStatement::bind(std::size_t position, const std::string& value) {
  check(sqlite3_bind_text(statement_.get(), static_cast<int>(position), value.data(),
                          static_cast<int>(value.size()), SQLITE_STATIC));
}

void PreparedStatement::bind(std::size_t position, const bond::blob& value) {
  check(sqlite3_bind_blob(statement_.get(), static_cast<int>(position), value.data(),
                          static_cast<int>(value.size()), SQLITE_STATIC));
}

void PreparedStatement::bind_null(std::size_t position) {
  check(sqlite3_bind_null(statement_.get(), static_cast<int>(position)));
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
