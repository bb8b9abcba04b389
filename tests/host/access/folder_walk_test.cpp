#include "host/access/folder_walk.h"

#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace korvane::host {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

class WalkOfAFolder : public testing::Test {
 protected:
  void make(const std::string& path) const {
    fs::create_directories(fs::path(folder_.file(path)).parent_path());
    std::ofstream(folder_.file(path)).close();
  }
  std::string below(const fs::path& path) const {
    return path.lexically_relative(folder_.path()).string();
  }
  /// What it finds by its paths below the folder.
  std::set<std::string> found() const {
    std::set<std::string> names;
    walk_folder(folder_.path(), {.visit = [&](const fs::directory_entry& entry) {
                  names.insert(below(entry.path()));
                  return true;
                }});
    return names;
  }

  const test::TemporaryFolder folder_;
};

TEST_F(WalkOfAFolder, FindsFilesAndFoldersAtEveryDepth) {
  make("a");
  make("b/c/d");
  EXPECT_THAT(found(), ElementsAre("a", "b", "b/c", "b/c/d"));
}

TEST_F(WalkOfAFolder, FollowsNoLink) {
  make("a/b");
  fs::create_directory_symlink(folder_.file("a"), folder_.file("link"));
  fs::create_directory_symlink(folder_.path(), folder_.file("a/up"));
  EXPECT_THAT(found(), ElementsAre("a", "a/b", "a/up", "link"));
}

TEST_F(WalkOfAFolder, GoesOnWhereAFolderDisappears) {
  for (const char* const name : {"a/1", "b/2", "c/3", "d/4"}) make(name);
  std::set<std::string> files;
  std::vector<std::string> unread;
  FolderVisitor visitor;
  visitor.visit = [&](const fs::directory_entry& entry) {
    const std::string name = below(entry.path());
    if (name == "b") fs::remove_all(entry.path());
    if (entry.is_regular_file()) files.insert(name);
    return true;
  };
  visitor.unread = [&](const fs::path& folder, const std::error_code& reason) {
    EXPECT_EQ(reason, std::errc::no_such_file_or_directory);
    unread.push_back(below(folder));
  };
  walk_folder(folder_.path(), visitor);
  EXPECT_THAT(files, ElementsAre("a/1", "c/3", "d/4"));
  EXPECT_THAT(unread, ElementsAre("b"));
}

TEST_F(WalkOfAFolder, TellsThatTheFolderItselfIsNotThere) {
  std::vector<fs::path> unread;
  walk_folder(folder_.file("none"),
              {.visit = [](const fs::directory_entry&) { return true; },
               .unread = [&](const fs::path& folder,
                             const std::error_code&) { unread.push_back(folder); }});
  EXPECT_THAT(unread, ElementsAre(fs::path(folder_.file("none"))));
}

TEST_F(WalkOfAFolder, EndsWhereItIsToldSo) {
  make("a/1");
  make("b/2");
  int seen = 0;
  walk_folder(folder_.path(), {.visit = [&](const fs::directory_entry&) { return ++seen < 2; }});
  EXPECT_EQ(seen, 2);
}

}  // namespace
}  // namespace korvane::host
