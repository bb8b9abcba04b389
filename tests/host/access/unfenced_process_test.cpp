// Alone in its program: a fence that was installed stays.

#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "host/access/sql_fence.h"

namespace korvane::host {
namespace {

TEST(Fence, CannotBeMadeBeforeItIsInstalledNorInstalledOnceSqliteIsInUse) {
  EXPECT_THROW(SqlFence{SqlFenceLimits{}}, std::logic_error);
  ASSERT_EQ(sqlite3_initialize(), SQLITE_OK);
  EXPECT_THAT(install_sql_fence, testing::ThrowsMessage<std::runtime_error>(
                                     "cannot install the SQL fence: SQLite is in use already"));
  EXPECT_THROW(SqlFence{SqlFenceLimits{}}, std::logic_error);
}

}  // namespace
}  // namespace korvane::host
