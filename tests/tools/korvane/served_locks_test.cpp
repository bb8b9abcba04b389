#include "tools/korvane/served_locks.h"

#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/http/message.h"
#include "sqlite/lock_probe.h"
#include "tests/support/temporary_folder.h"

namespace korvane::tools {
namespace {

namespace fs = std::filesystem;

class ServedLocksOfAFolder : public testing::Test {
 protected:
  ServedLocksOfAFolder() { fs::current_path(folder_.path()); }
  ~ServedLocksOfAFolder() override { fs::current_path(former_); }

  static std::string name(int number) {
    return ".korvane-locks-000000000000000" + std::to_string(number);
  }
  static std::string made(int number) {
    sqlite::LockProbe(name(number)).run("make");
    return name(number);
  }
  /// 200, or the status of the refusal.
  int status(const std::string& file, const std::string& order) {
    try {
      locks_.run(file, order);
      return 200;
    } catch (const host::HttpFault& fault) {
      return fault.status();
    }
  }

  const fs::path former_ = fs::current_path();
  const test::TemporaryFolder folder_;
  ServedLocks locks_;
};

TEST_F(ServedLocksOfAFolder, DoWhatTheyAreToldWithAFileThatIsThere) {
  const std::string file = made(1);
  EXPECT_EQ(locks_.run(file, "begin"), "done");
  EXPECT_EQ(sqlite::LockProbe(file).run("begin"), "busy");
  EXPECT_EQ(locks_.run(file, "add"), "done");
  EXPECT_EQ(locks_.run(file, "commit"), "done");
  EXPECT_EQ(sqlite::LockProbe(file).run("value"), "1");
}

TEST_F(ServedLocksOfAFolder, MakeNoFile) {
  EXPECT_EQ(status(name(1), "open"), 404);
  EXPECT_EQ(status(name(1), "make"), 400);
  EXPECT_TRUE(fs::is_empty("."));
}

TEST_F(ServedLocksOfAFolder, TouchNoFileOfAnotherName) {
  sqlite::LockProbe("a.db").run("make");
  fs::create_directory("in");
  fs::rename(made(1), "in/" + name(1));
  for (const std::string& other :
       {std::string("a.db"), std::string(""), "in/" + name(1), "../" + name(1), name(1) + "0",
        name(1) + "-journal", std::string(".korvane-locks-000000000000000G")}) {
    EXPECT_EQ(status(other, "open"), 400) << other;
  }
  fs::create_symlink("a.db", name(2));
  EXPECT_EQ(status(name(2), "open"), 404);
}

TEST_F(ServedLocksOfAFolder, RefuseAWordThatTheyDoNotKnow) {
  EXPECT_EQ(status(made(1), "drop table probe"), 400);
}

TEST_F(ServedLocksOfAFolder, HaveFewFilesOpen) {
  const int most = static_cast<int>(ServedLocks::kMost);
  for (int i = 0; i < most; ++i) EXPECT_EQ(status(made(i), "open"), 200);
  EXPECT_EQ(status(made(most), "open"), 503);
  EXPECT_EQ(status(name(0), "value"), 200);
}

}  // namespace
}  // namespace korvane::tools
