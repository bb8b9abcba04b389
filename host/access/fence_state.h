#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <sqlite3.h>

#include "host/access/lock_wait.h"
#include "host/access/sql_fence.h"

namespace korvane::host {

/// The state of a fence, and what SQLite calls back. The callbacks have no use for a fence but the
/// calling thread's own, and throw nothing.
struct SqlFence::Impl {
  using Clock = std::chrono::steady_clock;

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

  /// The calling thread's fence, or null.
  static thread_local Impl* current;

  /// Throws std::logic_error when this thread is in a fence already.
  explicit Impl(const SqlFenceLimits& fence_limits);
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;
  ~Impl();

  // What SQLite calls.

  /// For each new connection.
  static int opened(sqlite3* connection, char** message, const sqlite3_api_routines* routines);
  /// The authorizer: asked about each thing a statement will do, while the statement is parsed.
  static int parsed(void* connection, int code, const char* first, const char* second,
                    const char* database, const char* trigger);
  /// The progress handler: not 0 interrupts.
  static int looked(void* context);
  /// The handler for locks: 0 gives up.
  static int blocked(void* context, int attempt);
  /// The trace of statements, rows and the end of connections.
  static int traced(unsigned event, void* context, void* subject, void* text);
  static bool take_memory(int size) noexcept;
  static void give_memory_back(int size) noexcept;

  // What becomes of it.

  /// Has SQLite call `traced` for these events on the connection.
  static void watch(sqlite3* connection, unsigned events);
  /// The statement may be older than the fence, and then no authorizer was asked about it inside.
  void begun(sqlite3* connection, sqlite3_stmt* statement);
  void row_given(sqlite3* connection, sqlite3_stmt* statement);
  void closed(sqlite3* connection);
  Held& hold(sqlite3* connection);
  static void release(const Held& one);
  static void interrupt(Held& one);
  void stop(FenceStop why);
  void refuse(std::string action);
  bool is_over();
  /// Whether nothing is to be refused or counted just now.
  bool is_off() const { return is_ending || is_suspended; }
  bool may_take(int size) noexcept;

  const SqlFenceLimits limits;
  const Clock::time_point start = Clock::now();
  std::vector<Held> held;
  std::int64_t statements = 0;
  const sqlite3_stmt* last_begun = nullptr;
  std::int64_t rows = 0;
  std::int64_t bytes = 0;
  std::int64_t memory = 0;
  int allocations = 0;
  int late_allocations = 0;
  LockWait lock_wait{start + limits.time, limits.lock_wait, limits.others_wait};
  /// The fence itself ends what is left open: nothing stops it any more.
  bool is_ending = false;
  /// The host's own SQL runs.
  bool is_suspended = false;
  std::optional<FenceStop> first_stop;
  std::string refused_what;
};

}  // namespace korvane::host
