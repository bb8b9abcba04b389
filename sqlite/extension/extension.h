#pragma once

#include "sqlite/extension/api.h"

namespace korvane::sqlite::extension {

/// Gives a connection the functions and, over its main database, the views. The database need not be
/// a project: a view looks for its tables when it is asked. A view whose name the main database uses
/// itself is not made. May be done again.
///
/// Throws std::runtime_error "cannot make the view unfinished_changes: …" where the connection takes
/// no views: what it has open is not a database or is locked, or it may only query. SQLite's own text
/// if it refuses a function. None is there then.
void add_to(sqlite3* database);

}  // namespace korvane::sqlite::extension
