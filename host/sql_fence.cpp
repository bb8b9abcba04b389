#include "host/sql_fence.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <set>
#include <stdexcept>
#include <string_view>
#include <vector>

#include <sqlite3.h>

namespace korvane::host {

namespace {

std::atomic<bool> is_installed = false;

/// Instructions of SQLite's machine between two looks at the clock.
constexpr int kInstructionsPerLook = 100;

constexpr std::int64_t kBytesOfNumber = 8;

/// Functions that do more than compute, or can take minutes in one call.
bool is_refused_function(std::string_view name) {
  static const std::set<std::string_view> refused = {
      // Load code, or take pointers as blobs.
      "load_extension", "fts3_tokenizer",
      // Of SQLite's shell and its loadable extensions: files, programs, SQL in an argument.
      "readfile", "writefile", "edit", "lsmode", "zipfile", "eval", "sha1_query", "sha3_query",
      // Writes into the process's error log.
      "sqlite_log",
      // Take apart or rewrite what virtual tables store.
      "rtreecheck", "rtreedepth", "rtreenode", "fts5_decode", "fts5_decode_none", "fts5_rowid",
      "optimize",
      // Compare every character or key of one argument with every one of the other, slowly.
      "trim", "ltrim", "rtrim", "json_patch"};
  return refused.count(name) != 0;
}

std::string_view text_or_empty(const char* text) { return text == nullptr ? "" : text; }

/// Whether SQLite's own catalogue is what an action is about.
bool is_schema_table(std::string_view table) {
  return table == "sqlite_master" || table == "sqlite_temp_master";
}

/// An action that an authorizer is asked about, in a client's words.
std::string action_in_words(int action, std::string_view argument) {
  // Most changes of the schema begin as one of its rows.
  if (is_schema_table(argument)) return "changing the schema";
  switch (action) {
    case SQLITE_INSERT:
      return "insert";
    case SQLITE_UPDATE:
      return "update";
    case SQLITE_DELETE:
      return "delete";
    case SQLITE_FUNCTION:
      return "calling " + std::string(argument);
    case SQLITE_PRAGMA:
      return "pragma";
    case SQLITE_TRANSACTION:
      return "begin, commit or rollback";
    case SQLITE_SAVEPOINT:
      return "savepoint";
    case SQLITE_ATTACH:
      return "attach";
    case SQLITE_DETACH:
      return "detach";
    case SQLITE_ANALYZE:
      return "analyze";
    case SQLITE_REINDEX:
      return "reindex";
    default:
      return "changing the schema";
  }
}

bool is_of_transaction(int action) {
  return action == SQLITE_TRANSACTION || action == SQLITE_SAVEPOINT;
}

bool is_allowed(int action, std::string_view argument) {
  switch (action) {
    case SQLITE_SELECT:
    case SQLITE_READ:
    case SQLITE_RECURSIVE:
      return true;
    case SQLITE_FUNCTION:
      return !is_refused_function(argument);
    case SQLITE_UPDATE:
      // SQLite asks about this, and does not do it, when a table-valued function is first used on a
      // connection. A statement that does it writes, and is refused when it begins to run.
      return is_schema_table(argument);
    default:
      return false;
  }
}

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

}  // namespace

/// The state of a fence, and what SQLite calls back. The callbacks have no use for a fence but the
/// calling thread's own, and throw nothing.
struct SqlFence::Impl {
  struct Limit {
    int id;
    int value;
  };

  /// A connection that the fence holds on, and its limits outside.
  struct Held {
    sqlite3* connection;
    std::vector<Limit> before;
    bool was_in_transaction;
    bool is_interrupted = false;
  };

  static thread_local Impl* current;

  explicit Impl(const SqlFenceLimits& fence_limits) : limits(fence_limits) {
    if (!is_installed) throw std::logic_error("install_sql_fence comes before every fence");
    if (current != nullptr) throw std::logic_error("this thread is in a fence already");
    current = this;
  }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;
  ~Impl() {
    for (const Held& one : held) release(one);
    current = nullptr;
  }

  /// Called by SQLite for each new connection.
  static int opened(sqlite3* connection, char**, const sqlite3_api_routines*) {
    sqlite3_set_authorizer(connection, &parsed, connection);
    sqlite3_progress_handler(connection, kInstructionsPerLook, &looked, nullptr);
    watch(connection, SQLITE_TRACE_STMT);
    return SQLITE_OK;
  }

  static void watch(sqlite3* connection, unsigned events) {
    sqlite3_trace_v2(connection, events, &traced, connection);
  }

  /// The authorizer: asked about each thing a statement will do, while the statement is parsed.
  static int parsed(void* connection, int action, const char* first, const char* second,
                    const char*, const char*) {
    if (current == nullptr) return SQLITE_OK;
    try {
      current->hold(static_cast<sqlite3*>(connection));
      if (!current->limits.only_reads) {
        return current->is_over() && !is_of_transaction(action) ? SQLITE_DENY : SQLITE_OK;
      }
      if (current->is_over()) return SQLITE_DENY;
      const std::string_view argument = text_or_empty(action == SQLITE_FUNCTION ? second : first);
      if (is_allowed(action, argument)) return SQLITE_OK;
      current->refuse(action_in_words(action, argument));
    } catch (const std::exception&) {
      // No memory: then no statement either.
    }
    return SQLITE_DENY;
  }

  /// The progress handler: not 0 interrupts.
  static int looked(void*) {
    if (current == nullptr) return 0;
    const bool is_stopping = !current->limits.only_reads && current->first_stop;
    return is_stopping || current->is_over() ? 1 : 0;
  }

  static int traced(unsigned event, void* context, void* subject, void*) {
    if (current == nullptr) return 0;
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

  /// The statement may be older than the fence, and then no authorizer was asked about it inside.
  void begun(sqlite3* connection, sqlite3_stmt* statement) {
    Held& one = hold(connection);
    if (!limits.only_reads) return;
    const bool writes = sqlite3_stmt_readonly(statement) == 0;
    if (writes) refuse("running a statement that writes");
    if (writes || is_over()) interrupt(one);
  }

  void row_given(sqlite3* connection, sqlite3_stmt* statement) {
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
    if (limits.only_reads) interrupt(hold(connection));
  }

  void closed(sqlite3* connection) {
    const auto found = std::find_if(held.begin(), held.end(),
                                    [&](const Held& one) { return one.connection == connection; });
    if (found == held.end()) return;
    release(*found);
    held.erase(found);
  }

  Held& hold(sqlite3* connection) {
    for (Held& one : held) {
      if (one.connection == connection) return one;
    }
    std::vector<Limit> inside;
    if (limits.only_reads) {
      inside = {{SQLITE_LIMIT_LENGTH, limits.length},
                {SQLITE_LIMIT_LIKE_PATTERN_LENGTH, limits.pattern_length},
                {SQLITE_LIMIT_ATTACHED, 0},
                {SQLITE_LIMIT_WORKER_THREADS, 0}};
    }
    const bool is_in_transaction = sqlite3_get_autocommit(connection) == 0;
    Held& one = held.emplace_back(Held{connection, std::move(inside), is_in_transaction});
    for (Limit& limit : one.before) limit.value = sqlite3_limit(connection, limit.id, limit.value);
    watch(connection, SQLITE_TRACE_STMT | SQLITE_TRACE_ROW | SQLITE_TRACE_CLOSE);
    return one;
  }

  static void release(const Held& one) {
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

  static void interrupt(Held& one) {
    one.is_interrupted = true;
    sqlite3_interrupt(one.connection);
  }

  void stop(FenceStop why) {
    if (!first_stop) first_stop = why;
  }

  void refuse(std::string action) {
    if (first_stop) return;
    refused_action = std::move(action);
    first_stop = FenceStop::refused;
  }

  bool is_over() {
    if (std::chrono::steady_clock::now() - start < limits.time) return false;
    stop(FenceStop::too_long);
    return true;
  }

  const SqlFenceLimits limits;
  const std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
  std::vector<Held> held;
  std::int64_t rows = 0;
  std::int64_t bytes = 0;
  std::optional<FenceStop> first_stop;
  std::string refused_action;
};

thread_local SqlFence::Impl* SqlFence::Impl::current = nullptr;

SqlFence::SqlFence(const SqlFenceLimits& limits) : impl_(std::make_unique<Impl>(limits)) {}
SqlFence::~SqlFence() = default;

std::optional<FenceStop> SqlFence::stopped() const {
  if (impl_->first_stop || !impl_->limits.only_reads) return impl_->first_stop;
  const bool has_long_value = std::any_of(
      impl_->held.begin(), impl_->held.end(),
      [](const Impl::Held& one) { return sqlite3_errcode(one.connection) == SQLITE_TOOBIG; });
  if (has_long_value) return FenceStop::too_large;
  return std::nullopt;
}

std::string SqlFence::reason() const {
  const std::optional<FenceStop> stop = stopped();
  if (!stop) return {};
  const SqlFenceLimits& limits = impl_->limits;
  const std::string subject = limits.only_reads ? "a fenced query may " : "a call may ";
  switch (*stop) {
    case FenceStop::refused:
      return subject + "only read: " + impl_->refused_action + " is refused";
    case FenceStop::too_long:
      return subject + "take " + std::to_string(limits.time.count()) + " ms: it was stopped";
    case FenceStop::too_many_rows:
      return subject + "give " + std::to_string(limits.rows) + " rows: it was stopped";
    case FenceStop::too_large:
      return subject + "give values of " +
             (limits.only_reads ? std::to_string(limits.length) + " bytes each and " : "") +
             std::to_string(limits.bytes) + (limits.only_reads ? "" : " bytes") +
             " in all: it was stopped";
  }
  return {};
}

void SqlFence::roll_back() {
  for (const Impl::Held& one : impl_->held) {
    if (one.was_in_transaction || sqlite3_get_autocommit(one.connection) != 0) continue;
    sqlite3_exec(one.connection, "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

void install_sql_fence() {
  // SQLite keeps one entry for the same function, however often it is given.
  const int result = sqlite3_auto_extension(reinterpret_cast<void (*)()>(&SqlFence::Impl::opened));
  if (result != SQLITE_OK) {
    throw std::runtime_error(std::string("cannot install the SQL fence: ") +
                             sqlite3_errstr(result));
  }
  is_installed = true;
}

}  // namespace korvane::host
