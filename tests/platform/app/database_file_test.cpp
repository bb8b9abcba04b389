#include "platform/app/database_file.h"

#include <fcntl.h>
#include <fstream>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "tests/support/temporary_folder.h"

namespace krv::app {
namespace {

class BeginsAsDatabase : public testing::Test {
 protected:
  bool of_file_with(const std::string& bytes) const {
    std::ofstream(folder_.file("project.db"), std::ios::binary) << bytes;
    return begins_as_database(folder_.file("project.db"));
  }

  korvane::test::TemporaryFolder folder_;
};

TEST_F(BeginsAsDatabase, LooksAtTheFirstSixteenBytes) {
  const std::string magic("SQLite format 3\0", 16);
  EXPECT_TRUE(of_file_with(magic));
  EXPECT_TRUE(of_file_with(magic + "and more"));
  EXPECT_FALSE(of_file_with(magic.substr(0, 15)));
  EXPECT_FALSE(of_file_with("SQLite format 3 and text"));
  EXPECT_FALSE(of_file_with(""));
}

TEST_F(BeginsAsDatabase, IsFalseForWhatCannotBeRead) {
  EXPECT_FALSE(begins_as_database(folder_.file("missing.db")));
  EXPECT_FALSE(begins_as_database(folder_.path().string()));
  const std::string pipe = folder_.file("pipe.db");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_FALSE(begins_as_database(pipe));
}

TEST_F(BeginsAsDatabase, LeavesTheLocksOfAWriteInThisProcess) {
  const std::string file = folder_.file("project.db");
  sqlite3* opened = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &opened), SQLITE_OK);
  const std::unique_ptr<sqlite3, int (*)(sqlite3*)> database(opened, &sqlite3_close);
  const auto run = [&](const char* sql) {
    return sqlite3_exec(opened, sql, nullptr, nullptr, nullptr);
  };
  ASSERT_EQ(run("create table bars (id)"), SQLITE_OK);
  const int descriptor = ::open(file.c_str(), O_RDWR | O_CLOEXEC);
  // What another process would be told that wants to lock all of SQLite's bytes.
  const auto is_locked = [&] {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = 0x40000000;
    lock.l_len = 512;
    EXPECT_EQ(::fcntl(descriptor, F_OFD_GETLK, &lock), 0);
    return lock.l_type != F_UNLCK;
  };
  ASSERT_EQ(run("begin exclusive"), SQLITE_OK);
  ASSERT_TRUE(is_locked());
  EXPECT_TRUE(begins_as_database(file));
  EXPECT_TRUE(is_locked());
  ASSERT_EQ(run("commit"), SQLITE_OK);
  EXPECT_FALSE(is_locked());
  ::close(descriptor);
}

}  // namespace
}  // namespace krv::app
