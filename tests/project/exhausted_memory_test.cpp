// In a program of its own, whose allocations can be made to fail.

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>

#include <boost/log/core.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/plugins/korvane.model.cad.project/plugin.h"
#include "model/plugins/korvane.model.cad.project/project_manager_service.h"
#include "platform/rpc4/directory.h"
#include "tests/support/captured_log.h"
#include "tests/support/temporary_folder.h"

extern "C" const krv::app::ServiceFactory cad_project_manager;

namespace {

/// Allocations of this thread that still succeed; negative for all.
thread_local int allocations_left = -1;

void* allocate(std::size_t size) {
  if (allocations_left == 0) throw std::bad_alloc();
  if (allocations_left > 0) --allocations_left;
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace korvane::test {

namespace {

using namespace model;
using namespace model::cad;
using krv::rpc4::find_service;

class AllocationsLeft {
 public:
  explicit AllocationsLeft(int left) { allocations_left = left; }
  AllocationsLeft(const AllocationsLeft&) = delete;
  AllocationsLeft& operator=(const AllocationsLeft&) = delete;
  ~AllocationsLeft() { allocations_left = -1; }
};

/// Runs `action` again and again, each time with one more allocation that succeeds, until it comes
/// through. Calls `after_failure` each time it did not. Returns the number of failures.
template <class Action, class AfterFailure>
int fail_at_every_allocation(Action action, AfterFailure after_failure) {
  for (int allocations = 0;; ++allocations) {
    try {
      const AllocationsLeft left(allocations);
      action();
      return allocations;
    } catch (const std::bad_alloc&) {
      after_failure();
    }
  }
}

/// The logging library does not promise to survive a failing allocation, so it is off.
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

class ExhaustedMemoryInOpen : public ExhaustedMemory {
 protected:
  ExhaustedMemoryInOpen() {
    ProjectManager_Service_Impl manager;
    open(manager);
  }

  std::string open(ProjectManager_Service_Impl& manager) {
    OpenProjectResponse reply;
    manager.open({folder_.file("a.db")}, reply);
    return reply.service_id;
  }
  static std::size_t listed(ProjectManager_Service_Impl& manager) {
    ProjectList list;
    manager.list_({}, list);
    return list.projects.size();
  }
  int allocations_of_an_opening() {
    ProjectManager_Service_Impl manager;
    constexpr int kMany = 1'000'000;
    const AllocationsLeft left(kMany);
    open(manager);
    return kMany - allocations_left;
  }
};

// Earlier ones belong to the data layer, which lets its connection go when they fail.
TEST_F(ExhaustedMemoryInOpen, OnItsLastAllocationsRecordsNoPathTwice) {
  const int all = allocations_of_an_opening();
  for (int missing = 1; missing <= 5; ++missing) {
    ProjectManager_Service_Impl manager;
    {
      const AllocationsLeft left(all - missing);
      EXPECT_THROW(open(manager), std::bad_alloc);
    }
    EXPECT_EQ(open(manager), "korvane.model.cad.Project:0") << missing;
    EXPECT_EQ(listed(manager), 1U) << missing;
  }
}

}  // namespace

}  // namespace korvane::test
