#include "tests/support/connection_watch.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string_view>

#include <sqlite3.h>

namespace korvane::test {

namespace {

// Connections may outlive their watch, so their callbacks look here.
ConnectionWatch* watching = nullptr;
thread_local int paused = 0;

/// No test file has to survive a power cut, and waiting for the disk would take most of a run.
/// Registered before any watch, which therefore does not record it.
int leave_unsynced(sqlite3* connection, char**, const sqlite3_api_routines*) {
  sqlite3_exec(connection, "PRAGMA synchronous = OFF", nullptr, nullptr, nullptr);
  // On a file that is not a database this raises an error, which would make the opening fail.
  sqlite3_exec(connection, "select 1", nullptr, nullptr, nullptr);
  return SQLITE_OK;
}
// NOLINTNEXTLINE(cert-err58-cpp): it throws nothing.
const int all_connections_unsynced =
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(&leave_unsynced));

}  // namespace

struct WatchCallbacks {
  static int opened(sqlite3* connection, char**, const sqlite3_api_routines*) {
    if (watching == nullptr || paused != 0) return SQLITE_OK;
    const char* const file = sqlite3_db_filename(connection, "main");
    const std::filesystem::path path(file == nullptr ? "" : file);
    auto* const name = new std::string(path.filename().string());
    watching->opened_.push_back(*name);
    sqlite3_set_authorizer(connection, &parsed, nullptr);
    sqlite3_trace_v2(connection, SQLITE_TRACE_STMT, &run, nullptr);
    // A function's own data is freed when the connection closes: SQLite has no other notification.
    return sqlite3_create_function_v2(connection, "korvane_watch", 0, SQLITE_UTF8, name, &unused,
                                      nullptr, nullptr, &closed);
  }

  static int parsed(void*, int action, const char* first, const char*, const char*, const char*) {
    if (watching == nullptr) return SQLITE_OK;
    std::pair<int, std::string> entry(action, first == nullptr ? "" : first);
    const bool refused = watching->refused_.count(entry) != 0;
    watching->parsed_.push_back(std::move(entry));
    return refused ? SQLITE_DENY : SQLITE_OK;
  }

  static int run(unsigned, void*, void*, void* text) {
    if (watching == nullptr) return 0;
    std::string statement(static_cast<const char*>(text));
    if (statement.rfind("--", 0) == 0) return 0;
    for (const char* word : {"BEGIN", "COMMIT", "ROLLBACK"}) {
      if (statement.rfind(word, 0) == 0) statement = word;
    }
    watching->statements_.push_back(std::move(statement));
    return 0;
  }

  static void unused(sqlite3_context*, int, sqlite3_value**) {}

  static void closed(void* name) {
    const std::unique_ptr<std::string> owned(static_cast<std::string*>(name));
    if (watching == nullptr) return;
    watching->closed_.push_back(*owned);
    if (watching->when_closed_) watching->when_closed_();
  }

  static void (*entry())() { return reinterpret_cast<void (*)()>(&opened); }
};

ConnectionWatch::ConnectionWatch() {
  if (watching != nullptr) throw std::logic_error("one watch at a time");
  watching = this;
  sqlite3_auto_extension(WatchCallbacks::entry());
}

ConnectionWatch::~ConnectionWatch() {
  sqlite3_cancel_auto_extension(WatchCallbacks::entry());
  watching = nullptr;
}

ConnectionWatch::Pause::Pause() { ++paused; }
ConnectionWatch::Pause::~Pause() { --paused; }

int ConnectionWatch::parsed(int action, const std::string& table) const {
  return static_cast<int>(std::count_if(parsed_.begin(), parsed_.end(), [&](const auto& entry) {
    return entry.first == action && (table.empty() || entry.second == table);
  }));
}

bool ConnectionWatch::touched(const std::string& table) const {
  return std::any_of(parsed_.begin(), parsed_.end(),
                     [&](const auto& entry) { return entry.second == table; });
}

void ConnectionWatch::forget() {
  opened_.clear();
  closed_.clear();
  statements_.clear();
  parsed_.clear();
}

}  // namespace korvane::test
