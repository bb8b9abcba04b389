#pragma once

#include "sqlite/extension/api.h"

namespace korvane::sqlite::extension {

/// Adds the SQL functions to a connection:
///
/// - `korvane_json(contract, raw)`: a record as JSON text, NULL for NULL. `contract` is its plain or
///   its qualified name.
/// - `korvane_value(name, raw)`: what the views are made of, one value of a record by a name such as
///   'Rebar.legs'; NULL for NULL.
/// - `korvane_views(schema)`: makes the views of an attached project, their names after the
///   schema's: "old_bars". Not for use in views and triggers. Returns the number of the views.
///
/// Their errors begin with the function's name: "korvane_json: unknown contract 'Beam': known are
/// ProjectData, …", "korvane_json: raw is not a Rebar: …", "korvane_json: raw must be a BLOB".
/// Returns SQLite's code.
int add_functions(sqlite3* database);

/// Whose decoded records the functions share: those of one connection, or of all that a thread runs.
enum class RecordsOf { connection, thread };

/// The same without korvane_views.
int add_functions(sqlite3* database, RecordsOf owner);

/// Takes them away again, those that are there.
void remove_functions(sqlite3* database);

}  // namespace korvane::sqlite::extension
