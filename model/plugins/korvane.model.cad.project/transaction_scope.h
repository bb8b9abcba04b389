#pragma once

#include <Poco/Data/Session.h>

namespace korvane::model::cad {

/// The guard of a writing operation, kept on its stack. `begin()` comes before it; on success the
/// operation sets `done` and then commits, in that order: a commit that fails is followed by no
/// rollback.
struct TransactionScope {
  Poco::Data::Session* session;
  bool done = false;

  explicit TransactionScope(Poco::Data::Session& guarded) : session(&guarded) { session->begin(); }
  TransactionScope(const TransactionScope&) = delete;
  TransactionScope& operator=(const TransactionScope&) = delete;

  /// Rolls back unless done. SQLite rolls back by itself when the disk is full, and the rollback
  /// here then fails: the exception on its way out is the one that counts.
  ~TransactionScope() {
    if (done) return;
    try {
      session->rollback();
    } catch (...) {  // NOLINT(bugprone-empty-catch): told above
    }
  }

  void commit() {
    done = true;
    session->commit();
  }
};

}  // namespace korvane::model::cad
