// The one symbol of the library. SQLite derives its name from that of the file: the letters before
// the first point, without "lib" and in lower case.

#include <exception>

#include "sqlite/extension/extension.h"

SQLITE_EXTENSION_INIT1

namespace {

/// Innocuous functions are the youngest thing that is needed.
constexpr int kOldestSqlite = 3031000;

char* message_of(const char* text) noexcept { return sqlite3_mprintf("%s", text); }

}  // namespace

extern "C" __attribute__((visibility("default"))) int sqlite3_korvanesqlite_init(
    sqlite3* database, char** message, const sqlite3_api_routines* api) noexcept {
  SQLITE_EXTENSION_INIT2(api)
  if (sqlite3_libversion_number() < kOldestSqlite) {
    *message = message_of("korvane needs SQLite 3.31 or later");
    return SQLITE_ERROR;
  }
  try {
    korvane::sqlite::extension::add_to(database);
    return SQLITE_OK;
  } catch (const std::bad_alloc&) {
    return SQLITE_NOMEM;
  } catch (const std::exception& failure) {
    *message = message_of(failure.what());
    return SQLITE_ERROR;
  }
}
