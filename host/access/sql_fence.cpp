#include "host/access/sql_fence.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <stdexcept>

#include <sqlite3.h>

#include "host/access/fence_state.h"
#include "host/access/sqlite_files.h"
#include "host/memory/sqlite_memory.h"

namespace korvane::host {

namespace {

std::atomic<bool> is_installed = false;

}  // namespace

SqlFence::SqlFence(const SqlFenceLimits& limits) {
  if (!is_installed) throw std::logic_error("install_sql_fence comes before every fence");
  impl_ = std::make_unique<Impl>(limits);
}
SqlFence::~SqlFence() = default;

std::optional<FenceStop> SqlFence::stopped() const {
  if (impl_->first_stop) return impl_->first_stop;
  const bool has_long_value = std::any_of(
      impl_->held.begin(), impl_->held.end(),
      [](const Impl::Held& one) { return sqlite3_errcode(one.connection) == SQLITE_TOOBIG; });
  if (has_long_value) return FenceStop::too_large;
  return std::nullopt;
}

void SqlFence::keep_stop() {
  if (const std::optional<FenceStop> stop = stopped()) impl_->stop(*stop);
}

std::string SqlFence::reason() const {
  const std::optional<FenceStop> stop = stopped();
  if (!stop) return {};
  const SqlFenceLimits& limits = impl_->limits;
  const std::string subject =
      limits.access == SqlAccess::reads ? "a fenced query may " : "a call may ";
  switch (*stop) {
    case FenceStop::refused:
      return subject +
             (limits.access == SqlAccess::reads ? "only read" : "change its project only") + ": " +
             impl_->refused_what + " is refused";
    case FenceStop::too_long:
      return subject + "take " + std::to_string(limits.time.count()) + " ms: it was stopped";
    case FenceStop::too_many_rows:
      return subject + "give " + std::to_string(limits.rows) + " rows: it was stopped";
    case FenceStop::too_large:
      return subject + "give values of " + std::to_string(limits.length) + " bytes each and " +
             std::to_string(limits.bytes) + " in all: it was stopped";
    case FenceStop::too_much_memory:
      return subject + "have " + std::to_string(limits.memory) +
             " bytes of memory for its SQL: it was stopped";
  }
  return {};
}

bool SqlFence::gave_way() const { return impl_->lock_wait.has_given_way(); }

void SqlFence::suspended(const std::function<void()>& action) {
  struct Suspension {
    bool& is_on;
    explicit Suspension(bool& flag) : is_on(flag) { is_on = true; }
    Suspension(const Suspension&) = delete;
    Suspension& operator=(const Suspension&) = delete;
    ~Suspension() { is_on = false; }
  };
  const Suspension suspension(impl_->is_suspended);
  action();
}

void SqlFence::roll_back() {
  impl_->is_ending = true;
  for (const Impl::Held& one : impl_->held) {
    if (one.was_in_transaction || sqlite3_get_autocommit(one.connection) != 0) continue;
    sqlite3_exec(one.connection, "ROLLBACK", nullptr, nullptr, nullptr);
  }
  impl_->is_ending = false;
}

void install_sql_fence() {
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  if (is_installed) return;
  int result =
      observe_sqlite_memory({&SqlFence::Impl::take_memory, &SqlFence::Impl::give_memory_back});
  if (result == SQLITE_OK) {
    result = sqlite3_auto_extension(reinterpret_cast<void (*)()>(&SqlFence::Impl::opened));
  }
  if (result == SQLITE_OK) result = guard_sqlite_files();
  if (result != SQLITE_OK) {
    throw std::runtime_error(
        std::string("cannot install the SQL fence: ") +
        (result == SQLITE_MISUSE ? "SQLite is in use already" : sqlite3_errstr(result)));
  }
  is_installed = true;
}

}  // namespace korvane::host
