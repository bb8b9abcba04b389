#include "model/plugins/korvane.model.cad.project/transaction_scope.h"

#include <Poco/Data/SQLite/SQLiteException.h>
#include <Poco/Data/SQLite/Utility.h>
#include <sqlite3.h>

#include "platform/rpc4/failed_item.h"

namespace korvane::model::cad {

namespace {

/// The session on which this thread has a unit open.
thread_local const Poco::Data::SessionImpl* unit = nullptr;

constexpr const char* kSavepoint = "SAVEPOINT korvane_operation";
constexpr const char* kRelease = "RELEASE korvane_operation";
constexpr const char* kRollBackTo = "ROLLBACK TO korvane_operation";

}  // namespace

bool UnitTransaction::is_open(Poco::Data::Session& session) noexcept {
  return unit != nullptr && unit == session.impl();
}

void UnitTransaction::require_whole(Poco::Data::Session& session) {
  if (!is_open(session)) return;
  if (sqlite3_get_autocommit(Poco::Data::SQLite::Utility::dbHandle(session)) == 0) return;
  throw Poco::Data::SQLite::TransactionException("the unit has been rolled back");
}

void UnitTransaction::begin(Poco::Data::Session& session) {
  run(session, "BEGIN IMMEDIATE");
  unit = session.impl();
}

void UnitTransaction::commit(Poco::Data::Session& session) {
  try {
    run(session, "COMMIT");
  } catch (...) {
    roll_back(session);
    throw;
  }
  unit = nullptr;
}

void UnitTransaction::roll_back(Poco::Data::Session& session) noexcept {
  if (!is_open(session)) return;
  unit = nullptr;
  try {
    PreparedStatement rollback(session, "ROLLBACK");
    if (rollback.is_in_transaction()) rollback.run();
  } catch (...) {  // NOLINT(bugprone-empty-catch): the host ends what is left open
  }
}

TransactionScope::TransactionScope(Poco::Data::Session& guarded)
    : session(&guarded),
      is_part_(UnitTransaction::is_open(guarded)),
      rollback_(guarded, is_part_ ? kRollBackTo : "ROLLBACK") {
  krv::rpc4::FailedItemListener::tell(std::nullopt);  // of an operation before
  if (is_part_) {
    UnitTransaction::require_whole(guarded);
    run(guarded, kSavepoint);
    return;
  }
  const bool is_nested = rollback_.is_in_transaction();
  try {
    session->begin();
  } catch (...) {
    if (!is_nested) roll_back_plainly();
    throw;
  }
}

TransactionScope::~TransactionScope() {
  if (done) return;
  if (is_part_) {
    roll_back_plainly();
    return;
  }
  try {
    session->rollback();
  } catch (...) {
    roll_back_plainly();
  }
}

void TransactionScope::release() { run(*session, kRelease); }

void TransactionScope::roll_back_plainly() noexcept {
  try {
    if (rollback_.is_in_transaction()) rollback_.run();
    // coverage: SQLite has not failed to roll back in any test, with its disk or memory gone
  } catch (...) {  // NOLINT(bugprone-empty-catch): another exception is on its way
  }
}

}  // namespace korvane::model::cad
