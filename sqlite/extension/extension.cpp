#include "sqlite/extension/extension.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "sqlite/extension/functions.h"
#include "sqlite/extension/views.h"

namespace korvane::sqlite::extension {

namespace {

/// Whether the main database has a table or view of that name, which a temporary view would hide.
/// A database that cannot be read has none: it takes no views either.
bool is_taken(sqlite3* database, const std::string& name) {
  sqlite3_stmt* handle = nullptr;
  sqlite3_prepare_v2(database,
                     "SELECT 1 FROM main.sqlite_master WHERE name = ? COLLATE NOCASE "
                     "AND type IN ('table', 'view')",
                     -1, &handle, nullptr);
  if (handle == nullptr) return false;
  const auto finalize = [](sqlite3_stmt* statement) { sqlite3_finalize(statement); };
  const std::unique_ptr<sqlite3_stmt, decltype(finalize)> statement(handle, finalize);
  sqlite3_bind_text(handle, 1, name.c_str(), -1, SQLITE_STATIC);
  return sqlite3_step(handle) == SQLITE_ROW;
}

}  // namespace

std::vector<View> free_views(sqlite3* database, std::vector<View> views) {
  std::erase_if(views, [&](const View& view) { return is_taken(database, view.name); });
  return views;
}

void add_to(sqlite3* database) {
  // The views come first: a library whose loading fails is unloaded, and must leave no function.
  make_views(database, free_views(database, views_of("main", "")));
  try {
    if (add_functions(database) != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(database));
  } catch (...) {
    remove_functions(database);
    throw;
  }
}

}  // namespace korvane::sqlite::extension
