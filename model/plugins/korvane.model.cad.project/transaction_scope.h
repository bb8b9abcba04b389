#pragma once

#include <Poco/Data/Session.h>

#include "model/plugins/korvane.model.cad.project/prepared_statement.h"

namespace korvane::model::cad {

/// The guard of a writing operation, kept on its stack. It begins a transaction when it is made;
/// the operation calls `commit()` last. Without that the destructor rolls back.
struct TransactionScope {
  Poco::Data::Session* session;
  bool done = false;

  /// Begins. Throws the data layer's exceptions; the session is then as it was.
  explicit TransactionScope(Poco::Data::Session& guarded);
  TransactionScope(const TransactionScope&) = delete;
  TransactionScope& operator=(const TransactionScope&) = delete;
  /// Rolls back unless `done`. Throws nothing: the exception that ends the operation counts.
  ~TransactionScope();

  /// Sets `done` before it commits: a commit that fails is followed by no rollback.
  void commit() {
    done = true;
    session->commit();
  }

 private:
  /// Rolls back without allocating. Does nothing if no transaction is open: SQLite ends one itself
  /// when the disk is full.
  void roll_back_plainly() noexcept;

  /// Parsed while there is memory. An operation that has run out of it could not parse one, and its
  /// transaction would block the project until the project is closed.
  PreparedStatement rollback_;
};

}  // namespace korvane::model::cad
