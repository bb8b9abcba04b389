// Starting the plugin without memory. In a program of its own: it replaces the allocator.

#include <memory>
#include <new>

#include <boost/log/core.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/plugins/korvane.model.cad.project/plugin.h"
#include "model/plugins/korvane.model.cad.project/project_manager_service.h"
#include "platform/rpc4/directory.h"
#include "tests/support/failing_memory.h"
#include "tests/support/temporary_folder.h"

extern "C" const krv::app::ServiceFactory cad_project_manager;

namespace korvane::test {

namespace {

using namespace model;
using namespace model::cad;
using krv::rpc4::find_service;

/// Repeats `action`, each time with one more allocation that succeeds, until it does not fail.
/// Calls `after_failure` after each failure. Returns the number of failures.
template <class Action, class AfterFailure>
int fail_at_every_allocation(Action action, AfterFailure after_failure) {
  for (int allocations = 0;; ++allocations) {
    try {
      const FailingMemory memory(Allocator::kNew, Shortage::kAllAllocations, allocations + 1);
      action();
      return allocations;
    } catch (const std::bad_alloc&) {
      after_failure();
    }
  }
}

/// Logging is off: the logging library may not survive a failing allocation.
class ExhaustedMemory : public ::testing::Test {
 protected:
  ExhaustedMemory() { boost::log::core::get()->set_logging_enabled(false); }
  ~ExhaustedMemory() override { boost::log::core::get()->set_logging_enabled(true); }

  static ProjectManager_Service* manager() {
    return find_service<ProjectManager_Service>(ProjectManager_Metadata::GlobalInstanceID);
  }

  TemporaryFolder folder_;
};

TEST_F(ExhaustedMemory, InTheFactoryReachesTheHostAndMakesNothing) {
  std::shared_ptr<krv::app::IService> plugin;
  const int failures = fail_at_every_allocation([&] { plugin = cad_project_manager(); },
                                                [&] {
                                                  EXPECT_EQ(plugin, nullptr);
                                                  EXPECT_TRUE(krv::rpc4::live_services().empty());
                                                });
  EXPECT_EQ(failures, 1);  // plugin and reference counts are one allocation
}

TEST_F(ExhaustedMemory, InStartReachesTheHostAndKeepsTheManagerThereIs) {
  ProjectManagerPlugin plugin;
  plugin.start();
  OpenProjectResponse reply;
  manager()->open({folder_.file("a.db")}, reply);
  auto* const before = manager();
  const int failures = fail_at_every_allocation([&] { plugin.start(); },
                                                [&] {
                                                  EXPECT_EQ(manager(), before);
                                                  EXPECT_EQ(krv::rpc4::live_services().size(), 2U);
                                                });
  EXPECT_GT(failures, 1);
  EXPECT_NE(manager(), before);
}

TEST_F(ExhaustedMemory, InTheFirstStartLeavesThePluginUnstarted) {
  ProjectManagerPlugin plugin;
  fail_at_every_allocation([&] { plugin.start(); }, [&] { EXPECT_EQ(manager(), nullptr); });
  EXPECT_NE(manager(), nullptr);
}

}  // namespace

}  // namespace korvane::test
