#pragma once

#include <Poco/Data/Session.h>

#include "model/plugins/korvane.model.cad.project/prepared_statement.h"

namespace korvane::model::cad {

/// A transaction that several operations of the calling thread are parts of: while it is open, the
/// guard of each of them is a savepoint in it. Opened and ended on one thread, one at a time there.
class UnitTransaction {
 public:
  /// Whether the calling thread has one open on the session.
  static bool is_open(Poco::Data::Session& session) noexcept;

  /// Throws Poco::Data::SQLite::TransactionException "the unit has been rolled back" where the
  /// calling thread's unit on the session has lost its transaction: SQLite ends one itself when the
  /// disk is full, and what came then would be stored alone.
  static void require_whole(Poco::Data::Session& session);

  /// Begins with the write lock. Throws the data layer's exceptions; nothing is open then.
  static void begin(Poco::Data::Session& session);
  /// Nothing is open afterwards, whether it throws the data layer's exceptions or not.
  static void commit(Poco::Data::Session& session);
  /// Does nothing where none is open.
  static void roll_back(Poco::Data::Session& session) noexcept;
};

/// The guard of a writing operation, kept on its stack. It begins a transaction when it is made;
/// the operation calls `commit()` last. Without that the destructor rolls back. Within a
/// UnitTransaction it is a part of that.
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
    if (is_part_) return release();
    session->commit();
  }

 private:
  void release();

  /// Rolls back without allocating. Does nothing if no transaction is open: SQLite ends one itself
  /// when the disk is full.
  void roll_back_plainly() noexcept;

  const bool is_part_;
  /// Parsed while there is memory. An operation that has run out of it could not parse one, and its
  /// transaction would block the project until the project is closed.
  PreparedStatement rollback_;
};

}  // namespace korvane::model::cad
