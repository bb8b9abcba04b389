#include "sqlite/extension/on_demand.h"

#include <algorithm>
#include <cctype>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "sqlite/extension/extension.h"
#include "sqlite/extension/functions.h"
#include "sqlite/extension/views.h"

namespace korvane::sqlite::extension {

namespace {

const std::vector<View>& all_views() {
  static const std::vector<View> views = views_of("main", "");
  return views;
}

bool contains(std::string_view text, std::string_view word) {
  const auto is_same = [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) ==
           std::tolower(static_cast<unsigned char>(b));
  };
  return std::search(text.begin(), text.end(), word.begin(), word.end(), is_same) != text.end();
}

void drop_views(sqlite3* database) {
  for (const View& view : all_views()) {
    const std::string sql = "DROP VIEW IF EXISTS temp." + view.name;
    if (sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
      throw std::runtime_error(sqlite3_errmsg(database));
    }
  }
}

/// Runs what may throw: no exception may pass through SQLite.
template <class Work>
void guarded(sqlite3_context* context, Work work) noexcept {
  try {
    work(sqlite3_context_db_handle(context));
  } catch (const std::exception& failure) {
    sqlite3_result_error(context, failure.what(), -1);
  } catch (...) {
    sqlite3_result_error_nomem(context);
  }
}

extern "C" {

static void korvane_make_views(sqlite3_context* context, int, sqlite3_value**) {
  guarded(context, [](sqlite3* database) {
    // What is there may be of a name that the database has come to use itself.
    drop_views(database);
    make_views(database, free_views(database, all_views()));
  });
}

static void korvane_drop_views(sqlite3_context* context, int, sqlite3_value**) {
  guarded(context, drop_views);
}

static int korvane_opened(sqlite3* database, char**, const void*) {
  constexpr int kCareful = SQLITE_UTF8 | SQLITE_DIRECTONLY;
  add_functions(database, RecordsOf::thread);
  sqlite3_create_function_v2(database, "korvane_make_views", 0, kCareful, nullptr,
                             korvane_make_views, nullptr, nullptr, nullptr);
  sqlite3_create_function_v2(database, "korvane_drop_views", 0, kCareful, nullptr,
                             korvane_drop_views, nullptr, nullptr, nullptr);
  // A function that could not be made is missed by who calls it.
  return SQLITE_OK;
}
}

}  // namespace

void offer_views() {
  all_views();
  sqlite3_auto_extension(reinterpret_cast<void (*)()>(&korvane_opened));
}

bool may_need_views(std::string_view sql) {
  if (contains(sql, "sqlite_temp") || contains(sql, "table_list")) return true;
  return std::any_of(all_views().begin(), all_views().end(),
                     [&](const View& view) { return contains(sql, view.name); });
}

}  // namespace korvane::sqlite::extension
