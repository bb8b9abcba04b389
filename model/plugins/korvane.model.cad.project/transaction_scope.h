#pragma once

#include <Poco/Data/Session.h>

#include "model/plugins/korvane.model.cad.project/prepared_statement.h"

namespace korvane::model::cad {

/// The guard of a writing operation, kept on its stack. `begin()` comes before it; on success the
/// operation sets `done` and then commits, in that order: a commit that fails is followed by no
/// rollback.
struct TransactionScope {
  Poco::Data::Session* session;
  bool done = false;

  /// Begins. Throws the data layer's exceptions, and then leaves the session as it was.
  explicit TransactionScope(Poco::Data::Session& guarded);
  TransactionScope(const TransactionScope&) = delete;
  TransactionScope& operator=(const TransactionScope&) = delete;
  /// Rolls back unless done. The exception on its way out is the one that counts: none comes from
  /// here.
  ~TransactionScope();

  void commit() {
    done = true;
    session->commit();
  }

 private:
  /// Without any memory. Does nothing if no transaction is active, as SQLite ends it by itself when
  /// the disk is full.
  void roll_back_plainly() noexcept;

  /// Parsed while there is memory: an operation that failed for want of it could not parse one, and
  /// its transaction would hold up the project until that is closed.
  PreparedStatement rollback_;
};

}  // namespace korvane::model::cad
