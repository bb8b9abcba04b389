#include "model/plugins/korvane.model.cad.project/transaction_scope.h"

#include <Poco/Data/SQLite/Utility.h>
#include <sqlite3.h>

namespace korvane::model::cad {

namespace {

sqlite3_stmt* prepare_rollback(Poco::Data::Session& session) {
  sqlite3* const connection = Poco::Data::SQLite::Utility::dbHandle(session);
  sqlite3_stmt* statement = nullptr;
  const int result = sqlite3_prepare_v2(connection, "ROLLBACK", -1, &statement, nullptr);
  if (result != SQLITE_OK) Poco::Data::SQLite::Utility::throwException(connection, result);
  return statement;
}

}  // namespace

void TransactionScope::Finalize::operator()(sqlite3_stmt* statement) const noexcept {
  sqlite3_finalize(statement);
}

TransactionScope::TransactionScope(Poco::Data::Session& guarded) : session(&guarded) {
  if (!session->isConnected()) session->begin();  // which tells so
  rollback_.reset(prepare_rollback(*session));
  const bool is_nested = sqlite3_get_autocommit(sqlite3_db_handle(rollback_.get())) == 0;
  try {
    session->begin();
  } catch (...) {
    if (!is_nested) roll_back_plainly();
    throw;
  }
}

TransactionScope::~TransactionScope() {
  if (done) return;
  try {
    session->rollback();
  } catch (...) {
    roll_back_plainly();
  }
}

void TransactionScope::roll_back_plainly() noexcept {
  if (sqlite3_get_autocommit(sqlite3_db_handle(rollback_.get())) == 0) {
    sqlite3_step(rollback_.get());
  }
}

}  // namespace korvane::model::cad
