// The command that adds indexes, and the server that does it, as people run them.

#include <chrono>
#include <exception>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/plain_sqlite.h"
#include "tests/tools/korvane/program.h"
#include "tests/tools/korvane/served_folder.h"

namespace korvane {
namespace {

using nlohmann::json;
using test::Outcome;
using test::plain_rows;
using test::PlainConnection;
using testing::HasSubstr;

std::string indexes(const std::string& file) {
  const char* const sql = "select count(*) from sqlite_schema where name like 'korvane_index_%'";
  return *plain_rows(file, sql)[0][0];
}

class OptimizeCommand : public testing::Test {
 protected:
  Outcome run(const std::string& arguments) {
    return test::run_program(folder_, arguments, "COLUMNS=80");
  }
  void import(const std::string& project) {
    EXPECT_EQ(run("import " KORVANE_EXAMPLES "/guideline.abs --project " + project).exit_code, 0);
  }
  std::string file() const { return folder_.file("a.db"); }

  test::TemporaryFolder folder_;
};

TEST_F(OptimizeCommand, SaysWhatItAddedAndWhatItCouldNot) {
  import(file());
  const Outcome outcome =
      run("optimize " + file() + " " + folder_.file("none.db") + " --format json");
  EXPECT_EQ(outcome.exit_code, 3);
  EXPECT_EQ(outcome.err, "korvane: no project " + folder_.file("none.db") + "\n");
  const json rows = json::parse(outcome.out);
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0]["file"], file());
  EXPECT_EQ(rows[0]["indexes_before"], 0);
  EXPECT_EQ(rows[0]["indexes_after"], 12);
  EXPECT_LT(rows[0]["bytes_before"], rows[0]["bytes_after"]);
  EXPECT_EQ(indexes(file()), "12");
  EXPECT_EQ(run("optimize " + folder_.file("none.db")).exit_code, 1);
}

TEST_F(OptimizeCommand, TakesThemAwayAgain) {
  import(file());
  EXPECT_EQ(run("optimize " + file()).exit_code, 0);
  EXPECT_THAT(
      run("check --wide " + file()).out,
      HasSubstr("`korvane optimize` has added 12 indexes: korvane_index_revision_sheet_id, "));
  const Outcome outcome = run("optimize --drop " + file());
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_THAT(outcome.out, HasSubstr("     12      0 "));
  EXPECT_EQ(indexes(file()), "0");
}

TEST_F(OptimizeCommand, ChangesNothingThatIsExported) {
  import(file());
  const std::string before = run("export --format json " + file()).out;
  run("optimize " + file());
  EXPECT_EQ(run("export --format json " + file()).out, before);
  EXPECT_EQ(run("import --append " KORVANE_EXAMPLES "/guideline.abs --project " + file()).exit_code,
            0);
  EXPECT_EQ(run("check " + file()).exit_code, 0);
  EXPECT_EQ(indexes(file()), "12");
}

class ServedOptimizer : public OptimizeCommand {
 protected:
  Outcome list(const test::ServedFolder& server, const std::string& project) {
    return run("list --server " + server.url() + " " + project);
  }
  static bool is_optimized(const std::string& file) {
    for (int i = 0; i < 2000; ++i) {
      try {
        if (indexes(file) == "12") return true;
      } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): it is being written
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }
};

TEST_F(ServedOptimizer, IsOffByDefault) {
  const test::ServedFolder server;
  import(server.file("a.db"));
  EXPECT_EQ(list(server, "a.db").exit_code, 0);
  EXPECT_EQ(indexes(server.file("a.db")), "0");
}

TEST_F(ServedOptimizer, GivesProjectsTheirIndexesThatAreOpenedOrMade) {
  const test::ServedFolder server("--optimize");
  import(server.file("there.db"));
  EXPECT_EQ(list(server, "there.db").exit_code, 0);
  EXPECT_TRUE(is_optimized(server.file("there.db")));
  EXPECT_EQ(
      run("import " KORVANE_EXAMPLES "/guideline.abs --project new.db --server " + server.url())
          .exit_code,
      0);
  EXPECT_TRUE(is_optimized(server.file("new.db")));
  EXPECT_EQ(run("check " + server.file("new.db")).exit_code, 0);
}

TEST_F(ServedOptimizer, HoldsUpNoCallWhileItCannotHaveItsLock) {
  const test::ServedFolder server("--optimize");
  import(server.file("a.db"));
  import(server.file("other.db"));
  {
    PlainConnection writer(server.file("a.db"), PlainConnection::Mode::kWrite);
    writer.run("begin immediate");
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 3; ++i) EXPECT_EQ(list(server, "a.db").exit_code, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    EXPECT_EQ(list(server, "other.db").exit_code, 0);
    EXPECT_TRUE(is_optimized(server.file("other.db")));
    EXPECT_EQ(indexes(server.file("a.db")), "0");
  }
  EXPECT_TRUE(is_optimized(server.file("a.db")));
}

TEST_F(ServedOptimizer, DoesNotKeepTheServerFromStopping) {
  test::ServedFolder server("--optimize");
  import(server.file("a.db"));
  PlainConnection writer(server.file("a.db"), PlainConnection::Mode::kWrite);
  writer.run("begin immediate");
  EXPECT_EQ(list(server, "a.db").exit_code, 0);
  const auto begin = std::chrono::steady_clock::now();
  server.stop();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

}  // namespace
}  // namespace korvane
