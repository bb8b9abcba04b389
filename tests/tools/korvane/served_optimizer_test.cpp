// What the indexes that a server makes may cost.

#include "tools/korvane/served_optimizer.h"

#include <chrono>
#include <cstddef>
#include <exception>
#include <filesystem>
#include <string>
#include <thread>

#include <boost/log/core.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/captured_log.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/text_of.h"
#include "tests/tools/korvane/program.h"

namespace korvane::tools {
namespace {

using std::chrono::milliseconds;
using test::plain_rows;
using test::PlainConnection;

class OptimizerBounds : public testing::Test {
 protected:
  OptimizerBounds() {
    boost::log::core::get()->set_logging_enabled(true);
    for (const char* const name : {"a.db", "small.db"}) {
      EXPECT_EQ(test::run_program(folder_, "import " KORVANE_EXAMPLES "/guideline.abs --project " +
                                               folder_.file(name))
                    .exit_code,
                0);
    }
  }
  ~OptimizerBounds() override { boost::log::core::get()->set_logging_enabled(false); }

  std::string file() const { return folder_.file("a.db"); }

  static bool is_optimized(const std::string& file) {
    const char* const sql = "select count(*) from sqlite_schema where name like 'korvane_index_%'";
    return *plain_rows(file, sql)[0][0] == "12";
  }
  static void wait_for(const std::string& file) {
    for (int i = 0; i < 2000; ++i) {
      try {
        if (is_optimized(file)) return;
      } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): it is being written
      }
      std::this_thread::sleep_for(milliseconds(10));
    }
    ADD_FAILURE() << file << " gets no indexes";
  }

  /// Gives the file sixty thousand lines.
  void fill() const {
    PlainConnection(file(), PlainConnection::Mode::kWrite)
        .run(
            "insert into barspacer(rev_id) with recursive n(i) as (select 1 union all "
            "select i + 1 from n where i < 60000) select i from n");
  }
  /// How many lines of the log begin so.
  std::size_t count(const std::wstring& message) const {
    std::size_t found = 0;
    for (const test::LogLine& line : log_.lines()) {
      found += line.text.find(L"\"message\":\"" + message) == line.text.npos ? 0 : 1;
    }
    return found;
  }
  /// Whether a file that is too large stays as it is, and does not hold up the next one.
  void expect_too_large(const OptimizerLimits& limits) {
    fill();
    const std::string before = test::text_of(file());
    {
      ServedOptimizer optimizer(limits);
      optimizer.add(file());
      optimizer.add(folder_.file("small.db"));
      wait_for(folder_.file("small.db"));
    }
    EXPECT_TRUE(test::text_of(file()) == before);
    EXPECT_FALSE(std::filesystem::exists(file() + "-journal"));
    EXPECT_EQ(count(L"not optimized: "), 1U);
    EXPECT_EQ(count(L"optimized "), 1U);
  }

  test::TemporaryFolder folder_;
  test::CapturedLog log_;
};

TEST_F(OptimizerBounds, LeaveAFileAloneThatTakesTooMuchTime) {
  OptimizerLimits limits;
  limits.most_time = milliseconds(2);
  expect_too_large(limits);
}

TEST_F(OptimizerBounds, LeaveAFileAloneThatTakesTooMuchMemory) {
  OptimizerLimits limits;
  limits.most_memory = 800'000;
  expect_too_large(limits);
}

TEST_F(OptimizerBounds, AreNotReachedByAFileOfSixtyThousandLines) {
  fill();
  {
    ServedOptimizer optimizer;
    optimizer.add(file());
    wait_for(file());
  }
  EXPECT_EQ(count(L"optimized "), 1U);
}

TEST_F(OptimizerBounds, LetALockedFileBeTriedAgainAndAgainAndSaySoOnce) {
  OptimizerLimits limits;
  limits.first_pause = milliseconds(5);
  limits.longest_pause = milliseconds(20);
  {
    ServedOptimizer optimizer(limits);
    {
      PlainConnection writer(file(), PlainConnection::Mode::kWrite);
      writer.run("begin immediate");
      optimizer.add(file());
      std::this_thread::sleep_for(milliseconds(800));
      EXPECT_FALSE(is_optimized(file()));
    }
    wait_for(file());
  }
  EXPECT_EQ(count(L"not yet optimized: others hold locks on "), 1U);
  EXPECT_EQ(count(L"optimized "), 1U);
}

}  // namespace
}  // namespace korvane::tools
