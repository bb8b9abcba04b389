#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace korvane::host {

/// What the statements of one fence may take, together. Defaults suit reports over a project file.
struct SqlFenceLimits {
  /// From the making of the fence on. SQLite looks at it between the turns of its loops: what is
  /// computed within one row is not cut, nor is the wait for another program's lock.
  std::chrono::milliseconds time{5000};
  /// Rows that the statements give.
  std::int64_t rows = 100'000;
  /// Bytes of all values in those rows, of which a number or NULL counts as 8.
  std::int64_t bytes = std::int64_t{64} * 1024 * 1024;
  /// Bytes of any one value, of one row of a table, and of what a function gives on the way. Some
  /// functions of text take time by its square: a quarter second for one call at this default.
  int length = 256 * 1024;
  /// Bytes of a pattern of LIKE or GLOB. A longer one fails with SQLite's own text.
  int pattern_length = 1000;
  /// Else statements may do all that they may outside, and `length` and `pattern_length` do not
  /// hold: the fence only sees to it that they end.
  bool only_reads = true;
};

enum class FenceStop {
  refused,        ///< a statement would do more than read
  too_long,       ///< the time is over
  too_many_rows,  ///< more rows than allowed
  too_large,      ///< a value, or all of them together, have more bytes than allowed
};

/// Makes SQLite open every connection of the process so that fences hold on it. Call it before any
/// connection is opened: earlier ones stay outside all fences. Further calls change nothing.
/// Outside a fence a connection works as ever; only its authorizer, progress handler and trace are
/// taken. Any thread may call it. Throws std::runtime_error "cannot install the SQL fence: …".
void install_sql_fence();

/// While it lives, SQL of the thread that made it may only read, on whichever connections, and only
/// within the limits. SQL of other threads goes on as ever.
///
/// A project file can come with views, triggers and generated columns that never end. A fence that
/// is not for reading alone keeps operations on such a file from running for ever. It stops what
/// loops, and compiles nothing more once the time is over, but never keeps a transaction from
/// ending.
///
/// Where only reading is allowed, allowed are selects over tables, views, `sqlite_master` and
/// table-valued functions such as `json_each`, with SQLite's functions; EXPLAIN of a select as
/// well. Refused is everything else: changes of rows and of the schema, temporary ones too;
/// transactions and savepoints; ATTACH, VACUUM, ANALYZE, REINDEX; every PRAGMA, and with them the
/// functions `pragma_…`. Of the functions those are refused that load code, reach files or write
/// the log; those that take apart internal structures; and `trim`, `ltrim`, `rtrim` and
/// `json_patch`, one call of which can take minutes.
///
/// A refused or stopped statement fails with an error of SQLite's, which reaches the caller as
/// whatever the code between makes of it; `stopped` then tells why.
///
/// Made, asked and destroyed on one thread. A connection is used by one thread at a time; one used
/// inside the fence is closed, if at all while the fence lives, by the fence's thread. The
/// destructor gives each connection back as it was: a query that the fence has interrupted, and
/// whose statement is still there, is reset.
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

  /// The same for the client: "a fenced query may only read: attach is refused". Empty when
  /// nothing was stopped.
  std::string reason() const;

  /// Takes back the transactions that were begun since the fence was made and are open still: some
  /// operations leave one behind when they fail, and nothing could be written until it has ended.
  void roll_back();

 private:
  friend void install_sql_fence();

  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace korvane::host
