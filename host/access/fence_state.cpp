#include "host/access/fence_state.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <exception>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "host/access/sql_functions.h"
#include "host/memory/call_memory.h"

namespace korvane::host {

namespace {

/// Instructions of SQLite's machine, and allocations, between two looks at the clock.
constexpr int kInstructionsPerLook = 100;
constexpr int kAllocationsPerLook = 16;

/// When the time is over, every so many allocations one is refused. One is enough to end a
/// statement, and the end of its transaction takes fewer.
constexpr int kAllocationsPerRefusal = 256;

constexpr std::int64_t kBytesOfNumber = 8;

/// What idle connections may keep in pages and parsed schemas, all together.
constexpr std::int64_t kIdleBytes = std::int64_t{64} * 1024 * 1024;

/// SQLite's own limits for what is parsed, in fences and outside: it looks at them before it asks
/// anybody, so that they cannot wait for a fence. Its defaults suit SQL that is trusted.
constexpr std::array kLimitsOfParsing = {
    std::pair{SQLITE_LIMIT_SQL_LENGTH, 1024 * 1024}, std::pair{SQLITE_LIMIT_EXPR_DEPTH, 250},
    std::pair{SQLITE_LIMIT_COMPOUND_SELECT, 100},    std::pair{SQLITE_LIMIT_FUNCTION_ARG, 64},
    std::pair{SQLITE_LIMIT_WORKER_THREADS, 0},
};

/// Inside a fence for reading. A table may have more columns outside.
constexpr std::array kLimitsOfReading = {
    std::pair{SQLITE_LIMIT_COLUMN, 500},
    std::pair{SQLITE_LIMIT_ATTACHED, 0},
};

std::string_view text_or_empty(const char* text) { return text == nullptr ? "" : text; }

std::int64_t bytes_of_row(sqlite3_stmt* statement) {
  std::int64_t bytes = 0;
  for (int i = 0; i < sqlite3_column_count(statement); ++i) {
    const int type = sqlite3_column_type(statement, i);
    // The size of a number would turn it into text.
    const bool has_size = type == SQLITE_TEXT || type == SQLITE_BLOB;
    bytes += has_size ? sqlite3_column_bytes(statement, i) : kBytesOfNumber;
  }
  return bytes;
}

/// Whether a statement is under way on the connection, or another one than that.
bool is_running(sqlite3* connection, const sqlite3_stmt* besides = nullptr) {
  sqlite3_stmt* statement = nullptr;
  while ((statement = sqlite3_next_stmt(connection, statement)) != nullptr) {
    if (statement != besides && sqlite3_stmt_busy(statement) != 0) return true;
  }
  return false;
}

/// Whether a statement has come no further than to its transaction, where SQLite sees that another
/// program has changed the schema since, and parses the same statement anew. Another one that is being
/// parsed, perhaps where that one was in memory, has come nowhere yet.
bool has_only_begun(sqlite3* connection, const sqlite3_stmt* asked) {
  constexpr int kStepsToTransaction = 2;
  sqlite3_stmt* statement = nullptr;
  while ((statement = sqlite3_next_stmt(connection, statement)) != nullptr) {
    if (statement != asked) continue;
    return sqlite3_stmt_status(statement, SQLITE_STMTSTATUS_VM_STEP, 0) == kStepsToTransaction;
  }
  return false;
}

/// A file can have a schema of any size, and each connection keeps pages that it read. The next
/// call reads again what it needs.
void give_up_idle_memory(sqlite3* connection) {
  if (sqlite3_memory_used() <= kIdleBytes) return;
  sqlite3_exec(connection, "PRAGMA writable_schema = reset", nullptr, nullptr, nullptr);
  sqlite3_db_release_memory(connection);
}

}  // namespace

thread_local SqlFence::Impl* SqlFence::Impl::current = nullptr;

SqlFence::Impl::Impl(const SqlFenceLimits& fence_limits) : limits(fence_limits) {
  if (current != nullptr) throw std::logic_error("this thread is in a fence already");
  current = this;
}

SqlFence::Impl::~Impl() {
  is_ending = true;
  for (const Held& one : held) {
    release(one);
    give_up_idle_memory(one.connection);
  }
  current = nullptr;
}

int SqlFence::Impl::opened(sqlite3* connection, char**, const sqlite3_api_routines*) {
  if (is_opening_plain_connection()) return SQLITE_OK;
  sqlite3_db_config(connection, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(connection, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_exec(connection, "PRAGMA cell_size_check = on", nullptr, nullptr, nullptr);
  for (const auto& [id, value] : kLimitsOfParsing) sqlite3_limit(connection, id, value);
  static const SqlClock clock{[] { return current != nullptr && current->is_over(); }};
  const int result = guard_sql_functions(connection, clock);
  if (result != SQLITE_OK) return result;
  sqlite3_set_authorizer(connection, &parsed, connection);
  sqlite3_progress_handler(connection, kInstructionsPerLook, &looked, nullptr);
  watch(connection, SQLITE_TRACE_STMT);
  return SQLITE_OK;
}

void SqlFence::Impl::watch(sqlite3* connection, unsigned events) {
  sqlite3_trace_v2(connection, events, &traced, connection);
}

int SqlFence::Impl::parsed(void* connection, int code, const char* first, const char* second,
                           const char* database, const char*) {
  if (current == nullptr || current->is_ending) return SQLITE_OK;
  const SqlAction action{code, text_or_empty(first), text_or_empty(second), text_or_empty(database),
                         is_running(static_cast<sqlite3*>(connection))};
  try {
    current->hold(static_cast<sqlite3*>(connection));
    if (current->is_suspended) return SQLITE_OK;
    const bool may_end =
        current->limits.access == SqlAccess::everything && is_of_transaction(action);
    if (!may_end && current->is_over()) return SQLITE_DENY;
    const bool is_another = !action.is_within_statement &&
                            !has_only_begun(static_cast<sqlite3*>(connection), current->last_begun);
    if (is_another && current->statements >= current->limits.statements) {
      current->refuse("another statement");
      return SQLITE_DENY;
    }
    const std::optional<std::string> refused = refused_action(current->limits.access, action);
    if (!refused) return SQLITE_OK;
    current->refuse(*refused);
  } catch (const std::exception&) {
    // No memory: then no statement either.
  }
  return SQLITE_DENY;
}

int SqlFence::Impl::looked(void*) {
  if (current == nullptr || current->is_ending) return 0;
  const bool is_stopping = current->limits.access != SqlAccess::reads && current->first_stop;
  return is_stopping || current->is_over() ? 1 : 0;
}

int SqlFence::Impl::blocked(void*, int attempt) {
  const bool goes_on =
      current == nullptr ? wait_for_lock(attempt) : current->lock_wait.wait(attempt);
  return goes_on ? 1 : 0;
}

int SqlFence::Impl::traced(unsigned event, void* context, void* subject, void*) {
  if (current == nullptr || (current->is_off() && event != SQLITE_TRACE_CLOSE)) return 0;
  auto* const connection = static_cast<sqlite3*>(context);
  try {
    if (event == SQLITE_TRACE_STMT) {
      current->begun(connection, static_cast<sqlite3_stmt*>(subject));
    } else if (event == SQLITE_TRACE_ROW) {
      current->row_given(connection, static_cast<sqlite3_stmt*>(subject));
    } else if (event == SQLITE_TRACE_CLOSE) {
      current->closed(connection);
    }
  } catch (const std::exception&) {
    sqlite3_interrupt(connection);
  }
  return 0;
}

void SqlFence::Impl::begun(sqlite3* connection, sqlite3_stmt* statement) {
  Held& one = hold(connection);
  // Asked again by the same for each of its triggers.
  if (statement != last_begun && !is_running(connection, statement)) ++statements;
  last_begun = statement;
  if (limits.access != SqlAccess::reads) return;
  const bool writes = sqlite3_stmt_readonly(statement) == 0;
  if (writes) refuse("running a statement that writes");
  if (writes || is_over()) interrupt(one);
}

void SqlFence::Impl::row_given(sqlite3* connection, sqlite3_stmt* statement) {
  ++rows;
  bytes += bytes_of_row(statement);
  if (rows > limits.rows) {
    stop(FenceStop::too_many_rows);
  } else if (bytes > limits.bytes) {
    stop(FenceStop::too_large);
  } else if (!is_over()) {
    return;
  }
  // An interrupt would stop a commit or rollback that comes next as well. The progress handler
  // stops this statement alone.
  if (limits.access == SqlAccess::reads) interrupt(hold(connection));
}

void SqlFence::Impl::closed(sqlite3* connection) {
  const auto found = std::find_if(held.begin(), held.end(),
                                  [&](const Held& one) { return one.connection == connection; });
  if (found == held.end()) return;
  release(*found);
  held.erase(found);
}

SqlFence::Impl::Held& SqlFence::Impl::hold(sqlite3* connection) {
  for (Held& one : held) {
    if (one.connection == connection) return one;
  }
  std::vector<Limit> inside = {{SQLITE_LIMIT_LENGTH, limits.length},
                               {SQLITE_LIMIT_LIKE_PATTERN_LENGTH, limits.pattern_length}};
  if (limits.access == SqlAccess::reads) {
    for (const auto& [id, value] : kLimitsOfReading) inside.push_back({id, value});
  }
  const bool is_in_transaction = sqlite3_get_autocommit(connection) == 0;
  Held& one = held.emplace_back(Held{connection, std::move(inside), is_in_transaction});
  for (Limit& limit : one.before) limit.value = sqlite3_limit(connection, limit.id, limit.value);
  sqlite3_busy_handler(connection, &blocked, nullptr);
  watch(connection, SQLITE_TRACE_STMT | SQLITE_TRACE_ROW | SQLITE_TRACE_CLOSE);
  return one;
}

void SqlFence::Impl::release(const Held& one) {
  if (one.is_interrupted) {
    // An interrupt stays in force, for new statements too, as long as one that it met is under
    // way.
    sqlite3_stmt* statement = nullptr;
    while ((statement = sqlite3_next_stmt(one.connection, statement)) != nullptr) {
      if (sqlite3_stmt_busy(statement) != 0) sqlite3_reset(statement);
    }
  }
  for (const Limit& limit : one.before) sqlite3_limit(one.connection, limit.id, limit.value);
  watch(one.connection, SQLITE_TRACE_STMT);
}

void SqlFence::Impl::interrupt(Held& one) {
  one.is_interrupted = true;
  sqlite3_interrupt(one.connection);
}

void SqlFence::Impl::stop(FenceStop why) {
  if (!first_stop) first_stop = why;
}

void SqlFence::Impl::refuse(std::string action) {
  if (first_stop) return;
  refused_what = std::move(action);
  first_stop = FenceStop::refused;
}

bool SqlFence::Impl::is_over() {
  if (is_ending || Clock::now() - start < limits.time) return false;
  // Then it is the lock that is to blame.
  if (!lock_wait.has_taken_all_time()) stop(FenceStop::too_long);
  return true;
}

bool SqlFence::Impl::take_memory(int size) noexcept {
  if (current != nullptr && !current->may_take(size)) return false;
  if (CallMemory::take(static_cast<std::size_t>(size))) {
    if (current != nullptr) current->memory += size;
    return true;
  }
  return false;
}

void SqlFence::Impl::give_memory_back(int size) noexcept {
  CallMemory::give_back(static_cast<std::size_t>(size));
  if (current != nullptr) current->memory -= size;
}

bool SqlFence::Impl::may_take(int size) noexcept {
  if (is_ending) return true;
  if (memory + size > limits.memory) {
    stop(FenceStop::too_much_memory);
    return false;
  }
  if (++allocations % kAllocationsPerLook == 0 && is_over() &&
      (late_allocations += kAllocationsPerLook) >= kAllocationsPerRefusal) {
    late_allocations = 0;
    return false;
  }
  return true;
}

}  // namespace korvane::host
