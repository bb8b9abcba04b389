#pragma once

namespace korvane::host {

/// Keeps SQLite to files of its own, for the life of the process, whoever put them beside a
/// project:
///
/// - A pipe by the name of a journal is not opened: that would wait for its other end for ever.
/// - A journal can name a second one, of a transaction over several files, which SQLite deletes
///   after the rollback. A malicious journal can name any file. Only names such as SQLite gives
///   these are opened, and a file that is not opened is not deleted.
///
/// Both fail as a file that cannot be opened. Returns one of SQLite's result codes. Call it before
/// a connection is opened.
int guard_sqlite_files();

}  // namespace korvane::host
