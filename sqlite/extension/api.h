#pragma once

#include <sqlite3ext.h>

/// SQLite as whoever loads the extension has it: all its functions are reached through the table
/// that the loader hands over, and nothing here is linked with SQLite. Made with SQLITE_CORE the
/// same sources call SQLite directly, for programs that have it anyway.
// clang-format off
SQLITE_EXTENSION_INIT3  // the macro has its own semicolon
    // clang-format on
