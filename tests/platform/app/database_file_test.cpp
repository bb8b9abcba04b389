#include "platform/app/database_file.h"

#include <fstream>
#include <string>
#include <sys/stat.h>

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace krv::app
