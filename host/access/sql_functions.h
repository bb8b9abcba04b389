#pragma once

struct sqlite3;

namespace korvane::host {

/// What the guarded functions ask before they compute. Called on the thread of the SQL.
struct SqlClock {
  /// Whether the calling thread's SQL has no time left.
  bool (*is_over)();
};

/// Puts guards before those of SQLite's functions that can compute for long without reaching
/// anything that looks at the clock: `instr`, `replace`, `like` and `glob` (and so the operators),
/// `trim`, `ltrim`, `rtrim`, `printf` and `format`. Results stay SQLite's own: the guard hands
/// the call to the built-in function, on a connection of the thread's that has no guards.
///
/// A call fails as interrupted when the time is over, and as too big when it would take more than
/// some 2^28 steps: a text of 256 KiB against a pattern of 1,000 characters passes.
///
/// Returns one of SQLite's result codes. For a connection that is being opened.
int guard_sql_functions(sqlite3* connection, const SqlClock& clock);

/// Opens a connection to a database in memory that has no guards and stays outside all fences; null
/// for want of memory. The caller closes it.
sqlite3* open_plain_connection();

/// Whether the calling thread is in `open_plain_connection`.
bool is_opening_plain_connection();

}  // namespace korvane::host
