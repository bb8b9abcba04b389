// Alone in its program: the first connector that is registered under a key stays.

#include <filesystem>
#include <string>

#include <Poco/Data/DataException.h>
#include <Poco/Data/SQLite/Connector.h>
#include <gtest/gtest.h>

#include "model/plugins/korvane.model.cad.project/project.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/wait_watch.h"

namespace korvane::test {

namespace {

using model::cad::Project_Service_Impl;

/// A host that has registered the data layer's stock connector before the store opens anything.
class HostWithAConnectorOfItsOwn : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { Poco::Data::SQLite::Connector::registerConnector(); }
  static void TearDownTestSuite() { Poco::Data::SQLite::Connector::unregisterConnector(); }

  TemporaryFolder folder_;
};

TEST_F(HostWithAConnectorOfItsOwn, DoesNotMakeAFailingOpeningBeTriedAgain) {
  const WaitWatch watch;
  EXPECT_THROW(Project_Service_Impl(0, folder_.file("absent/a.db")),
               Poco::Data::ConnectionFailedException);
  EXPECT_EQ(watch.openings(), 1);
}

TEST_F(HostWithAConnectorOfItsOwn, LeavesANameThatLooksLikeAUriTheNameOfAFile) {
  const std::filesystem::path former = std::filesystem::current_path();
  std::filesystem::current_path(folder_.path());
  {
    Project_Service_Impl existing(0, "a.db");
    model::cad::MaterialRef reply;
    existing.create_material({}, reply);
  }
  { const Project_Service_Impl other(1, "file:a.db"); }
  std::filesystem::current_path(former);
  EXPECT_TRUE(std::filesystem::exists(folder_.path() / "file:a.db"));
  EXPECT_EQ(plain_rows(folder_.file("a.db"), "select count(*) from material"), (Rows{{"1"}}));
}

}  // namespace

}  // namespace korvane::test
