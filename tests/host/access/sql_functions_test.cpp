#include "host/access/sql_functions.h"

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "host/access/sql_fence.h"
#include "tests/host/access/in_memory.h"

namespace korvane::host {
namespace {

using namespace std::chrono_literals;
using test::Connection;
using test::in_memory;

struct Finalize {
  void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

/// The one value of a query with its type, or the error.
std::string outcome(sqlite3* connection, const std::string& sql) {
  sqlite3_stmt* prepared = nullptr;
  sqlite3_prepare_v2(connection, sql.c_str(), -1, &prepared, nullptr);
  const Statement statement(prepared);
  if (statement == nullptr || sqlite3_step(statement.get()) != SQLITE_ROW) {
    return std::string("error: ") + sqlite3_errmsg(connection);
  }
  const auto* const text = sqlite3_column_blob(statement.get(), 0);
  const int size = sqlite3_column_bytes(statement.get(), 0);
  return std::to_string(sqlite3_column_type(statement.get(), 0)) + ":" +
         std::string(static_cast<const char*>(text == nullptr ? "" : text),
                     static_cast<std::size_t>(size));
}

TEST(GuardedFunctions, GiveWhatSqliteGives) {
  const Connection guarded = in_memory();
  const Connection plain(open_plain_connection());
  const std::vector<std::string> values = {"null",
                                           "''",
                                           "'abc'",
                                           "'a%b_c'",
                                           "'A*[b-d]?'",
                                           "' \u00e4\u00f6 '",
                                           "x'00FF41'",
                                           "42",
                                           "-1.5",
                                           "'ab'",
                                           "'%5d|%-5s|%05.1f|%x|%q|%Q|%w|%%|%c'",
                                           "9223372036854775807"};
  const auto expect_equal = [&](const std::string& call) {
    EXPECT_EQ(outcome(guarded.get(), "select " + call), outcome(plain.get(), "select " + call))
        << call;
  };
  for (const std::string& a : values) {
    for (const char* const name : {"trim", "ltrim", "rtrim", "printf", "format"}) {
      expect_equal(std::string(name) + "(" + a + ")");
    }
    for (const std::string& b : values) {
      const std::string pair = "(" + a + ", " + b + ")";
      for (const char* const name :
           {"instr", "like", "glob", "trim", "ltrim", "rtrim", "printf", "format"}) {
        expect_equal(name + pair);
      }
      expect_equal(a + " like " + b);
      expect_equal(a + " glob " + b);
      for (const std::string& c : values) {
        expect_equal("replace(" + a + ", " + b + ", " + c + ")");
        expect_equal("printf(" + a + ", " + b + ", " + c + ", 7, 'x', 2.5)");
        expect_equal(a + " like " + b + " escape " + c);
      }
    }
  }
  for (const char* const call :
       {"printf('%*d|%-*s|%.*f', 8, 42, 6, 'ab', 3, 2.5)", "printf('%.10c', 'ab')",
        "printf('%lld %,d %+d %!.3s', 1, 1234567, 5, '\u00e4\u00f6\u00fc\u00df')", "printf('%')",
        "printf('%5')", "printf('%z %d', 1, 2)", "printf()", "format()",
        "printf('%.3e %g %r', 12345.678, 0.0001, 3)", "instr('a')", "typeof(printf('%s', null))"}) {
    expect_equal(call);
  }
}

TEST(GuardedFunctions, ServeInViewsIndexesAndGeneratedColumnsAsSqlitesDo) {
  const Connection connection = in_memory();
  EXPECT_EQ(sqlite3_exec(connection.get(),
                         "create table t (a, b as (trim(a)) stored);"
                         "create index i on t (replace(a, 'x', 'y'));"
                         "create view v as select printf('%03d', a) as p from t where a like '%2%';"
                         "insert into t (a) values (' 2 '), ('3')",
                         nullptr, nullptr, nullptr),
            SQLITE_OK)
      << sqlite3_errmsg(connection.get());
  EXPECT_EQ(outcome(connection.get(), "select b from t where replace(a, 'x', 'y') = ' 2 '"), "3:2");
  EXPECT_EQ(outcome(connection.get(), "select p from v"), "3:002");
}

TEST(GuardedFunctions, FailAsTooBigBeyondTheirSteps) {
  const Connection connection = in_memory();
  for (const char* const call :
       {"printf('%.*c', 2147483647, 'a')", "printf('%.2147483647c', 'a')",
        "printf('%.99999999999999999999c', 'a')", "printf('%s%.*c', 1, 300000000, 'a')",
        "printf('%*d%.*c', 1, 2, 300000000, 'a')", "format('%.*c', -9223372036854775807 - 1, 'a')",
        "printf('%.150000000c%.150000000c', 'a', 'a')",
        "trim(hex(zeroblob(100000)), hex(zeroblob(100000)))",
        "instr(hex(zeroblob(100000)), hex(zeroblob(100000)))",
        "replace(hex(zeroblob(100000)), hex(zeroblob(100000)), '')"}) {
    EXPECT_EQ(outcome(connection.get(), std::string("select ") + call),
              "error: string or blob too big")
        << call;
  }
}

TEST(GuardedFunctions, TakeWhatOnlyLooksBig) {
  const Connection connection = in_memory();
  EXPECT_EQ(outcome(connection.get(), "select printf('%d 2147483647', 2147483647)"),
            "3:2147483647 2147483647");
  EXPECT_EQ(outcome(connection.get(), "select printf('%%2147483647c%d', 1)"), "3:%2147483647c1");
  EXPECT_EQ(outcome(connection.get(), "select length(trim(hex(zeroblob(100000)), '1'))"),
            "1:200000");
}

TEST(GuardedFunctions, LookAtTheClock) {
  const Connection connection = in_memory();
  SqlFenceLimits limits;
  limits.time = 100ms;
  limits.access = SqlAccess::everything;
  std::string calls = "select 1";
  for (int i = 0; i < 1500; ++i) calls += ", instr(a, b)";
  sqlite3_exec(connection.get(),
               "create table t (a, b); insert into t values "
               "(replace(hex(zeroblob(65000)), '0', 'a') || 'c', "
               " replace(hex(zeroblob(1000)), '0', 'a') || 'd')",
               nullptr, nullptr, nullptr);
  const SqlFence fence(limits);
  EXPECT_EQ(outcome(connection.get(), calls + " from t"), "error: interrupted");
  EXPECT_EQ(fence.stopped(), FenceStop::too_long);
}

// --- Every scalar function with the largest arguments that a fence lets through.

struct Function {
  std::string name;
  int arguments;
};

std::vector<Function> scalar_functions(sqlite3* connection) {
  std::vector<Function> functions;
  sqlite3_stmt* prepared = nullptr;
  sqlite3_prepare_v2(connection,
                     "select distinct name, narg from pragma_function_list where type = 's' "
                     "order by name, narg",
                     -1, &prepared, nullptr);
  const Statement statement(prepared);
  while (sqlite3_step(statement.get()) == SQLITE_ROW) {
    functions.push_back({reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), 0)),
                         sqlite3_column_int(statement.get(), 1)});
  }
  return functions;
}

std::string times(const std::string& text, std::size_t length) {
  std::string result;
  while (result.size() + text.size() <= length) result += text;
  return result;
}

/// A value bound to a parameter: as text, as bytes or as a number.
struct Argument {
  enum class Kind { text, bytes, integer, real } kind;
  std::string text{};
  std::int64_t integer = 0;
  double real = 0;

  void bind(sqlite3_stmt* statement, int position) const {
    const int size = static_cast<int>(text.size());
    switch (kind) {
      case Kind::text:
        sqlite3_bind_text(statement, position, text.data(), size, SQLITE_STATIC);
        break;
      case Kind::bytes:
        sqlite3_bind_blob(statement, position, text.data(), size, SQLITE_STATIC);
        break;
      case Kind::integer:
        sqlite3_bind_int64(statement, position, integer);
        break;
      case Kind::real:
        sqlite3_bind_double(statement, position, real);
        break;
    }
  }
};

std::vector<Argument> large_arguments(std::size_t length) {
  using Kind = Argument::Kind;
  std::string object = "{";
  for (int i = 0; object.size() + 20 < length; ++i) {
    object += (i == 0 ? "\"k" : ",\"k") + std::to_string(i) + "\":" + std::to_string(i);
  }
  return {
      {Kind::text, times("a", length - 1) + "b"},
      {Kind::text, times("%", length)},
      {Kind::text, times("%a", 990) + "b"},  // the longest pattern
      {Kind::text, times("%.99999c", length)},
      {Kind::text, times("[", length)},
      {Kind::text, object + "}"},
      {Kind::text, "[" + times("1,", length - 4) + "1]"},
      {Kind::text, "$" + times("[0]", length - 1)},
      {Kind::text, "2024-02-30" + times(" ", 200)},
      {Kind::bytes, std::string(length, '\0')},
      {Kind::integer, "", INT64_C(2147483647)},
      {Kind::integer, "", INT64_C(-9223372036854775807) - 1},
      {Kind::real, "", 0, 1e308},
  };
}

double cpu_seconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

class EveryScalarFunction : public testing::Test {
 protected:
  EveryScalarFunction() : arguments_(large_arguments(static_cast<std::size_t>(limits_.length))) {
    limits_.time = 10min;
  }

  /// Calls the function with these arguments in a fence for reading. False when it is refused.
  bool call(const std::string& name, const std::vector<std::size_t>& chosen) {
    std::string sql = "select length(" + name + "(";
    for (std::size_t i = 0; i < chosen.size(); ++i) sql += i == 0 ? "?" : ",?";
    sql += "))";
    const SqlFence fence(limits_);
    const double before = cpu_seconds();
    sqlite3_stmt* prepared = nullptr;
    sqlite3_prepare_v2(connection_.get(), sql.c_str(), -1, &prepared, nullptr);
    if (prepared == nullptr) return fence.stopped() != FenceStop::refused;
    const Statement statement(prepared);
    for (std::size_t i = 0; i < chosen.size(); ++i) {
      arguments_[chosen[i]].bind(prepared, static_cast<int>(i) + 1);
    }
    sqlite3_step(prepared);
    const double seconds = cpu_seconds() - before;
    EXPECT_LT(seconds, 1.0) << name << " of arguments " << testing::PrintToString(chosen);
    slowest_ = std::max(slowest_, seconds);
    ++calls_;
    return true;
  }

  void call_with_many_choices(const Function& function, std::size_t count) {
    const std::size_t choices = arguments_.size();
    if (count == 0) {
      call(function.name, {});
      return;
    }
    for (std::size_t first = 0; first < choices; ++first) {
      std::vector<std::size_t> chosen(count, first);
      if (!call(function.name, chosen)) return;
      if (count == 1) continue;
      for (std::size_t rest = 0; rest < choices; ++rest) {
        std::fill(chosen.begin() + 1, chosen.end(), rest);
        call(function.name, chosen);
        // The first is a pattern, a format or a number as often as it is the subject.
        if (count == 2 || count > 3) continue;
        std::fill(chosen.begin() + 2, chosen.end(), first);
        call(function.name, chosen);
      }
    }
  }

  SqlFenceLimits limits_;
  std::vector<Argument> arguments_;
  Connection connection_ = in_memory();
  double slowest_ = 0;
  int calls_ = 0;
};

TEST_F(EveryScalarFunction, TakesNoLongerThanASecondForTheLargestArguments) {
  const std::vector<Function> functions = scalar_functions(connection_.get());
  EXPECT_GT(functions.size(), 100U);
  for (const Function& function : functions) {
    if (function.arguments >= 0) {
      call_with_many_choices(function, static_cast<std::size_t>(function.arguments));
    } else {
      for (const std::size_t count : {1U, 2U, 64U}) call_with_many_choices(function, count);
    }
  }
  std::cout << calls_ << " calls of " << functions.size() << " functions, the slowest " << slowest_
            << " s\n";
}

}  // namespace
}  // namespace korvane::host
