#include "host/access/fence_check.h"

#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "host/access/sql_fence.h"
#include "host/access/sql_functions.h"
#include "tests/host/access/in_memory.h"

namespace korvane::host {
namespace {

using test::Connection;
using test::in_memory;

void run(sqlite3* connection, const std::string& sql) {
  if (sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK) return;
  throw std::runtime_error(sqlite3_errmsg(connection));
}

std::string refusal(const Connection& connection) {
  try {
    require_fence([&](const char* sql) { run(connection.get(), sql); });
  } catch (const std::runtime_error& failure) {
    return failure.what();
  }
  return "";
}

constexpr const char* kTheBeginning =
    "the SQL fence does not hold on the data layer's connections: ";

TEST(FenceCheck, PassesWhereTheFenceHolds) {
  EXPECT_EQ(refusal(in_memory()), "");
  EXPECT_NO_THROW(require_fence_on_data_layer());
}

TEST(FenceCheck, FailsOnAConnectionThatWasOpenedPastTheFence) {
  EXPECT_EQ(refusal(Connection(open_plain_connection())),
            std::string(kTheBeginning) + "a database could be attached inside it");
}

TEST(FenceCheck, FailsWhereSomethingElseRefuses) {
  const Connection connection(open_plain_connection());
  sqlite3_limit(connection.get(), SQLITE_LIMIT_ATTACHED, 0);
  EXPECT_EQ(refusal(connection), std::string(kTheBeginning) +
                                     "attaching a database failed, but not by the fence: "
                                     "too many attached databases - max 0");
}

TEST(FenceCheck, LeavesNoFenceBehind) {
  require_fence_on_data_layer();
  const Connection connection = in_memory();
  EXPECT_NO_THROW(run(connection.get(), "attach ':memory:' as other"));
  EXPECT_NO_THROW(SqlFence{SqlFenceLimits{}});
}

}  // namespace
}  // namespace korvane::host
