#pragma once

#include <sqlite3ext.h>

// SQLite as whoever loads the extension has it: all its functions are reached through the table
// that the loader hands over, and nothing here is linked with SQLite. Made with SQLITE_CORE the
// same sources call SQLite directly, for programs that have it anyway. The macro has its semicolon.
SQLITE_EXTENSION_INIT3
