#include "model/plugins/korvane.model.cad.project/transaction_scope.h"

namespace korvane::model::cad {

TransactionScope::TransactionScope(Poco::Data::Session& guarded)
    : session(&guarded), rollback_(guarded, "ROLLBACK") {
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
  try {
    session->rollback();
  } catch (...) {
    roll_back_plainly();
  }
}

void TransactionScope::roll_back_plainly() noexcept {
  try {
    if (rollback_.is_in_transaction()) rollback_.run();
    // coverage: SQLite has not failed to roll back in any test, with its disk or memory gone
  } catch (...) {  // NOLINT(bugprone-empty-catch): another exception is on its way
  }
}

}  // namespace korvane::model::cad
