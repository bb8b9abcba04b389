// Alone in its program: only the first loading and the first opening of a process can be tested.

#include <dlfcn.h>
#include <memory>
#include <string>

#include <Poco/Data/SQLite/Connector.h>
#include <Poco/Data/Session.h>
#include <Poco/Exception.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/app/service.h"
#include "platform/project_rpc/project_manager_service.h"
#include "platform/rpc4/directory.h"
#include "tests/support/captured_log.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {

namespace {

using namespace model;

bool connector_is_registered() {
  try {
    const Poco::Data::Session session(Poco::Data::SQLite::Connector::KEY, ":memory:", 0);
    return true;
  } catch (const Poco::NotFoundException&) {
    return false;
  }
}

TEST(PluginLibrary, DoesNothingWhenLoadedAndRegistersTheConnectorOnTheFirstOpening) {
  const TemporaryFolder folder;
  const CapturedLog log;
  void* const library = dlopen(KORVANE_PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  EXPECT_TRUE(log.lines().empty());
  EXPECT_TRUE(krv::rpc4::live_services().empty());
  EXPECT_FALSE(connector_is_registered());

  const void* const record = dlsym(library, "cad_project_manager");
  ASSERT_NE(record, nullptr);
  const auto plugin = (*static_cast<const krv::app::ServiceFactory*>(record))();
  plugin->start();
  EXPECT_FALSE(connector_is_registered());

  auto* const manager = krv::rpc4::find_service<cad::ProjectManager_Service>(
      cad::ProjectManager_Metadata::GlobalInstanceID);
  ASSERT_NE(manager, nullptr);
  OpenProjectResponse reply;
  manager->open({folder.file("a.db")}, reply, {});
  EXPECT_TRUE(connector_is_registered());
}

}  // namespace

}  // namespace korvane::test
