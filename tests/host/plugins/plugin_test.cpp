#include "host/plugins/plugin.h"

#include <fstream>
#include <stdexcept>
#include <string>

#include <boost/filesystem/operations.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/project_rpc/project_manager_service.h"
#include "platform/rpc4/directory.h"

namespace korvane::host {
namespace {

using model::cad::ProjectManager_Metadata;
using model::cad::ProjectManager_Service;

const boost::filesystem::path kPluginFile = KORVANE_PLUGIN_FILE;

ProjectManager_Service* live_manager() {
  return krv::rpc4::find_service<ProjectManager_Service>(ProjectManager_Metadata::GlobalInstanceID);
}

std::string load_failure(const boost::filesystem::path& library) {
  try {
    const Plugin plugin(library);
  } catch (const std::runtime_error& failure) {
    return failure.what();
  }
  return "loaded";
}

/// A folder with a file that is not a library.
class FindPlugins : public testing::Test {
 protected:
  FindPlugins() {
    boost::filesystem::create_directories(folder_);
    std::ofstream((folder_ / "readme.txt").string()) << "no library";
  }
  ~FindPlugins() override { boost::filesystem::remove_all(folder_); }

  boost::filesystem::path folder_ =
      boost::filesystem::temp_directory_path() / boost::filesystem::unique_path("korvane-%%%%%%%%");
};

TEST(LoadedPlugin, ManagerIsFoundByItsIdWhileThePluginLives) {
  EXPECT_EQ(live_manager(), nullptr);
  {
    const Plugin plugin(kPluginFile);
    EXPECT_NE(live_manager(), nullptr);
  }
  EXPECT_EQ(live_manager(), nullptr);
}

TEST(LoadedPlugin, CanBeLoadedAgainAfterwards) {
  { const Plugin first(kPluginFile); }
  const Plugin second(kPluginFile);
  EXPECT_NE(live_manager(), nullptr);
}

TEST(LoadedPlugin, AFileThatIsNotALibraryIsNamedInTheFailure) {
  EXPECT_THAT(load_failure("/dev/null"), testing::StartsWith("cannot load plugin /dev/null: "));
}

TEST(LoadedPlugin, ALibraryWithoutARecordIsRefusedUnloaded) {
  // Any library without a record will do: that of the skeletons.
  const boost::filesystem::path library =
      kPluginFile.parent_path().parent_path() / "libkorvane.model.cad.Project_rpc.so";
  ASSERT_TRUE(boost::filesystem::exists(library));
  EXPECT_THAT(load_failure(library),
              testing::EndsWith("expected one symbol in section modsvc, found 0"));
}

TEST_F(FindPlugins, FindsTheLibraryByItsSectionAndSkipsTheRest) {
  EXPECT_THAT(find_plugins(kPluginFile.parent_path()), testing::ElementsAre(kPluginFile));
  EXPECT_THAT(find_plugins(folder_), testing::IsEmpty());
}

TEST_F(FindPlugins, AFolderThatIsNotThereIsNamed) {
  const auto missing = folder_ / "missing";
  EXPECT_THAT([&] { find_plugins(missing); },
              testing::ThrowsMessage<std::runtime_error>("no plugin folder " + missing.string()));
}

}  // namespace
}  // namespace korvane::host
