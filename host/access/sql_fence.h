#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "host/access/sql_access.h"

namespace korvane::host {

/// What the statements of one fence may take, together. Defaults suit reports over a project file.
struct SqlFenceLimits {
  /// From the making of the fence on. SQLite looks at it between the turns of its loops and when it
  /// takes memory, and so do the functions that compute for long. The wait for another program's
  /// lock is not cut, but ends with it.
  std::chrono::milliseconds time{5000};
  /// Rows that the statements give.
  std::int64_t rows = 100'000;
  /// Bytes of all values in those rows, of which a number or NULL counts as 8.
  std::int64_t bytes = std::int64_t{64} * 1024 * 1024;
  /// Bytes of any one value, of one row of a table, and of what a function gives on the way.
  int length = 256 * 1024;
  /// Bytes of a pattern of LIKE or GLOB. A longer one fails with SQLite's own text.
  int pattern_length = 1000;
  SqlAccess access = SqlAccess::reads;
  /// Bytes that SQLite takes on the fence's thread and has at a time.
  std::int64_t memory = std::int64_t{64} * 1024 * 1024;
  /// How long statements wait for another program's lock, together.
  std::chrono::milliseconds lock_wait{60'000};
  /// Whether another call waits that could run meanwhile. Asked while a statement waits for a lock;
  /// if so, the statement fails as for a lock, and `gave_way` says so.
  std::function<bool()> others_wait = {};
  /// Statements that may be run, not counting those that one of them runs itself, as VACUUM does:
  /// none is parsed after them.
  std::int64_t statements = std::numeric_limits<std::int64_t>::max();
};

enum class FenceStop {
  refused,          ///< a statement would do more than allowed
  too_long,         ///< the time is over
  too_many_rows,    ///< more rows than allowed
  too_large,        ///< a value, or all of them together, have more bytes than allowed
  too_much_memory,  ///< SQLite would have more memory than allowed
};

/// Makes SQLite open every connection of the process so that fences hold on it, and its allocator
/// ask them. Call it before anything else of SQLite's: connections that were opened earlier stay
/// outside all fences. Further calls change nothing. Every connection is then opened as one to a
/// file of unknown origin: functions with side effects do not run from its schema
/// (SQLITE_DBCONFIG_TRUSTED_SCHEMA off), its catalogue cannot be written over
/// (SQLITE_DBCONFIG_DEFENSIVE), and pages are checked when they are read (PRAGMA cell_size_check).
/// Beside its database it opens no pipe and deletes no file of others (sqlite_files.h).
/// A statement may have 1 MiB of text, an expression 250 levels, a compound select 100 terms and a
/// function 64 arguments.
/// Apart from that it works as usual outside a fence; its authorizer, progress handler, trace and,
/// once it was in a fence, its handler for locks are in use. Any thread may call it. Throws
/// std::runtime_error "cannot install the SQL fence: …".
void install_sql_fence();

/// While it lives, SQL of the thread that made it may only do what its access allows, on whichever
/// connections, and only within the limits. SQL of other threads is not affected.
///
/// A project file can come with views, triggers and generated columns that never end. A fence that
/// allows everything keeps operations on such a file from running for ever. It stops loops, and
/// compiles nothing more once the time is over, but never keeps a transaction from ending.
///
/// A refused or stopped statement fails with an error of SQLite's, which reaches the caller as
/// whatever the code between makes of it; `stopped` then tells why.
///
/// Made, asked and destroyed on one thread. A connection is used by one thread at a time; one used
/// inside the fence is closed, if at all while the fence lives, by the fence's thread. The
/// destructor gives each connection back as it was, a query that the fence has interrupted, and
/// whose statement is still there, is reset, and memory that idle connections keep is given up
/// where all of them together have more than 64 MiB.
class SqlFence {
 public:
  /// Throws std::logic_error when this thread is in a fence already, or `install_sql_fence` has
  /// not been called.
  explicit SqlFence(const SqlFenceLimits& limits);
  SqlFence(const SqlFence&) = delete;
  SqlFence& operator=(const SqlFence&) = delete;
  ~SqlFence();

  /// Why the fence made a statement fail, the first time it did; nothing if it did not. Ask right
  /// after the failure: of a value that is too long, SQLite's last error is the only trace.
  std::optional<FenceStop> stopped() const;

  /// Keeps what `stopped` says now: what is run next on a connection takes SQLite's last error away.
  void keep_stop();

  /// The same for the client: "a fenced query may only read: attach is refused". Empty when
  /// nothing was stopped.
  std::string reason() const;

  /// Whether a statement that waited for a lock failed to let others run.
  bool gave_way() const;

  /// Runs SQL of the host's own: the fence neither refuses nor counts what `action` runs. Time and
  /// memory stay what they are, as the file decides how long it takes. Throws what `action` throws.
  void suspended(const std::function<void()>& action);

  /// Rolls back the transactions that were begun since the fence was made and are still open: some
  /// operations leave one open when they fail, and nothing could be written until it has ended.
  void roll_back();

 private:
  friend void install_sql_fence();

  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace korvane::host
