#include "host/access/sql_functions.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include <sqlite3.h>

namespace korvane::host {

namespace {

/// What one call may take. A step is a character compared or written: some nanoseconds.
constexpr std::int64_t kMostSteps = std::int64_t{1} << 28;

std::int64_t bytes_of(sqlite3_value* value) { return sqlite3_value_bytes(value); }

std::int64_t product(std::int64_t left, std::int64_t right) {
  if (left != 0 && right > std::numeric_limits<std::int64_t>::max() / left) {
    return std::numeric_limits<std::int64_t>::max();
  }
  return left * right;
}

/// The first two arguments, each character of the one against all of the other.
std::int64_t steps_of_pair(int count, sqlite3_value** arguments) {
  return count < 2 ? 0 : product(bytes_of(arguments[0]), bytes_of(arguments[1]));
}

/// A format's widths and precisions: each may be one character that is written so often, also
/// beyond the length at which a text fails. They stand in the format or, as `*`, in an argument.
std::int64_t steps_of_format(int count, sqlite3_value** arguments) {
  if (count == 0) return 0;
  const auto* const text = reinterpret_cast<const char*>(sqlite3_value_text(arguments[0]));
  if (text == nullptr) return 0;
  std::string_view format(text, static_cast<std::size_t>(bytes_of(arguments[0])));
  int next = 1;
  std::int64_t steps = 0;
  const auto add = [&](std::int64_t number) {
    // The smallest number has no absolute value.
    const std::int64_t size = std::abs(std::max(number, -std::numeric_limits<std::int64_t>::max()));
    steps = std::min(kMostSteps + 1, steps + std::min(size, kMostSteps + 1));
  };
  for (std::size_t at = format.find('%'); at != format.npos; at = format.find('%', at)) {
    // Flags, width, precision and length, then the one character that is the conversion.
    for (++at; at < format.size(); ++at) {
      const char c = format[at];
      if (c == '*') {
        if (next < count) add(sqlite3_value_int64(arguments[next++]));
      } else if (std::isdigit(static_cast<unsigned char>(c)) != 0) {
        std::int64_t number = 0;
        for (; at < format.size() && std::isdigit(static_cast<unsigned char>(format[at])) != 0;
             ++at) {
          number = std::min(kMostSteps + 1, number * 10 + (format[at] - '0'));
        }
        --at;
        add(number);
      } else if (std::string_view("-+ #!0,.l").find(c) == std::string_view::npos) {
        if (c != '%' && c != 'n' && next < count) ++next;
        ++at;
        break;
      }
    }
  }
  return steps;
}

struct GuardedFunction {
  const char* name;
  /// -1 for any number.
  int arguments;
  std::int64_t (*steps)(int count, sqlite3_value** arguments);
};

constexpr GuardedFunction kGuarded[] = {
    {"instr", 2, steps_of_pair},    {"replace", 3, steps_of_pair}, {"like", 2, steps_of_pair},
    {"like", 3, steps_of_pair},     {"glob", 2, steps_of_pair},    {"trim", 1, steps_of_pair},
    {"trim", 2, steps_of_pair},     {"ltrim", 1, steps_of_pair},   {"ltrim", 2, steps_of_pair},
    {"rtrim", 1, steps_of_pair},    {"rtrim", 2, steps_of_pair},   {"printf", -1, steps_of_format},
    {"format", -1, steps_of_format}};

thread_local bool is_opening_plain = false;

/// A connection to nothing, whose functions are all SQLite's own.
class PlainFunctions {
 public:
  PlainFunctions() : connection_(open_plain_connection()) {
    if (!connection_) throw std::bad_alloc();
  }

  void call(const char* name, sqlite3_context* context, int count, sqlite3_value** arguments) {
    // A result is as long as it may be where the call stands.
    sqlite3* const caller = sqlite3_context_db_handle(context);
    for (const int limit : {SQLITE_LIMIT_LENGTH, SQLITE_LIMIT_LIKE_PATTERN_LENGTH}) {
      sqlite3_limit(connection_.get(), limit, sqlite3_limit(caller, limit, -1));
    }
    sqlite3_stmt* const statement = prepared(name, count);
    int result = statement == nullptr ? SQLITE_NOMEM : SQLITE_OK;
    for (int i = 0; i < count && result == SQLITE_OK; ++i) {
      result = sqlite3_bind_value(statement, i + 1, arguments[i]);
    }
    if (result == SQLITE_OK) result = sqlite3_step(statement);
    switch (result) {
      case SQLITE_ROW:
        sqlite3_result_value(context, sqlite3_column_value(statement, 0));
        break;
      case SQLITE_TOOBIG:
        sqlite3_result_error_toobig(context);
        break;
      case SQLITE_NOMEM:
        sqlite3_result_error_nomem(context);
        break;
      default:
        sqlite3_result_error(context, sqlite3_errmsg(connection_.get()), -1);
    }
    if (statement == nullptr) return;
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
  }

 private:
  struct Close {
    void operator()(sqlite3* connection) const noexcept { sqlite3_close(connection); }
  };
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
  };

  /// "select name(?,?)", or null for want of memory.
  sqlite3_stmt* prepared(const char* name, int count) {
    std::unique_ptr<sqlite3_stmt, Finalize>& kept = statements_[{name, count}];
    if (!kept) {
      std::string sql = "select " + std::string(name) + "(";
      for (int i = 0; i < count; ++i) sql += i == 0 ? "?" : ",?";
      sqlite3_stmt* statement = nullptr;
      sqlite3_prepare_v2(connection_.get(), (sql + ")").c_str(), -1, &statement, nullptr);
      kept.reset(statement);
    }
    return kept.get();
  }

  std::unique_ptr<sqlite3, Close> connection_;
  std::map<std::pair<std::string_view, int>, std::unique_ptr<sqlite3_stmt, Finalize>> statements_;
};

PlainFunctions& plain_functions_of_thread() {
  thread_local PlainFunctions plain;
  return plain;
}

/// Asks the clock and counts the steps, then hands the call on.
template <std::size_t Index>
void call_guarded(sqlite3_context* context, int count, sqlite3_value** arguments) {
  const GuardedFunction& function = kGuarded[Index];
  const auto* const clock = static_cast<const SqlClock*>(sqlite3_user_data(context));
  if (clock->is_over()) return sqlite3_result_error_code(context, SQLITE_INTERRUPT);
  if (function.steps(count, arguments) > kMostSteps) return sqlite3_result_error_toobig(context);
  try {
    plain_functions_of_thread().call(function.name, context, count, arguments);
  } catch (const std::bad_alloc&) {
    sqlite3_result_error_nomem(context);
  }
}

template <std::size_t... Index>
int guard_all(sqlite3* connection, const SqlClock& clock, std::index_sequence<Index...>) {
  // As SQLite has them: usable in views, generated columns and indexes.
  constexpr int kFlags = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS;
  int result = SQLITE_OK;
  ((result = result == SQLITE_OK ? sqlite3_create_function_v2(
                                       connection, kGuarded[Index].name, kGuarded[Index].arguments,
                                       kFlags, const_cast<SqlClock*>(&clock), &call_guarded<Index>,
                                       nullptr, nullptr, nullptr)
                                 : result),
   ...);
  return result;
}

}  // namespace

int guard_sql_functions(sqlite3* connection, const SqlClock& clock) {
  return guard_all(connection, clock, std::make_index_sequence<std::size(kGuarded)>());
}

sqlite3* open_plain_connection() {
  is_opening_plain = true;
  sqlite3* connection = nullptr;
  const int result = sqlite3_open(":memory:", &connection);
  is_opening_plain = false;
  if (result == SQLITE_OK) return connection;
  sqlite3_close(connection);
  return nullptr;
}

bool is_opening_plain_connection() { return is_opening_plain; }

}  // namespace korvane::host
