#include "tools/korvane/work_folder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace korvane::tools {
namespace {

namespace fs = std::filesystem;

/// With TMPDIR of its own.
class WorkFolders : public testing::Test {
 protected:
  WorkFolders() {
    if (const char* const former = std::getenv("TMPDIR")) former_ = former;
    ::setenv("TMPDIR", all_.path().c_str(), 1);
  }
  ~WorkFolders() override {
    if (former_) {
      ::setenv("TMPDIR", former_->c_str(), 1);
    } else {
      ::unsetenv("TMPDIR");
    }
  }

  void write(const std::string& name) const { std::ofstream(all_.file(name)).close(); }

  const test::TemporaryFolder all_;
  std::optional<std::string> former_;
};

TEST_F(WorkFolders, EndWithWhoHasMadeThem) {
  {
    const WorkFolder folder("purpose");
    EXPECT_TRUE(fs::is_directory(folder.path()));
    EXPECT_EQ(fs::status(folder.path()).permissions(), fs::perms::owner_all);
    std::ofstream(folder.path() + "/file").close();
  }
  EXPECT_TRUE(fs::is_empty(all_.path()));
}

TEST_F(WorkFolders, ThatAKilledProcessHasLeftAreRemovedAndThoseInUseStay) {
  fs::create_directory(all_.file("purpose-killed"));
  write("purpose-killed/state.db");
  fs::create_directory(all_.file("other-purpose"));
  const WorkFolder in_use("purpose");
  WorkFolder::remove_left("purpose");
  EXPECT_FALSE(fs::exists(all_.file("purpose-killed")));
  EXPECT_TRUE(fs::exists(all_.file("other-purpose")));
  EXPECT_TRUE(fs::exists(in_use.path()));
}

TEST_F(WorkFolders, AreNotTakenForWhatALinkNames) {
  fs::create_directory(all_.file("own"));
  write("own/file");
  fs::create_directory_symlink(all_.file("own"), all_.file("purpose-link"));
  write("purpose-file");
  WorkFolder::remove_left("purpose");
  EXPECT_TRUE(fs::exists(all_.file("own/file")));
  EXPECT_TRUE(fs::exists(all_.file("purpose-file")));
}

TEST_F(WorkFolders, NeedAFolderForTemporaryFiles) {
  ::setenv("TMPDIR", all_.file("none").c_str(), 1);
  EXPECT_ANY_THROW(WorkFolder("purpose"));
  EXPECT_NO_THROW(WorkFolder::remove_left("purpose"));
}

}  // namespace
}  // namespace korvane::tools
