// Fails every allocation of every operation of both services, one by one, and looks at what is
// left.

#include "tests/support/failing_memory.h"

#include <array>
#include <cstddef>
#include <exception>
#include <iostream>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/plugins/korvane.model.cad.project/project_manager_service.h"
#include "platform/rpc4/directory.h"
#include "tests/scenarios/torture/project_calls.h"
#include "tests/scenarios/torture/torture_test.h"

namespace korvane::test {
namespace {

using namespace model;
using namespace model::cad;

constexpr std::array kAllocators = {Allocator::kNew, Allocator::kSqlite};
constexpr std::array kShortages = {Shortage::kOneAllocation, Shortage::kAllAllocations};

/// The disk is not what fails here.
struct SoundDisk {};

class FailingMemoryTest : public TortureTest<SoundDisk> {
 protected:
  FailingMemoryTest() {
    fill(*open());
    filled_ = files();
  }

  /// Calls `attempt(allocator, shortage, nth)` for the first, second, … allocation, until it
  /// returns that there was no such allocation. A short run tries all of the first ones, then in
  /// ever larger steps.
  template <class Attempt>
  void at_every_allocation(Attempt attempt) {
    std::map<std::string, int> tried;
    for (const Allocator allocator : kAllocators) {
      for (const Shortage shortage : kShortages) {
        const std::string name =
            std::string(allocator == Allocator::kNew ? "of new" : "of SQLite") +
            (shortage == Shortage::kOneAllocation ? ", one" : ", all from it on");
        for (int nth = 1; !HasFailure();) {
          SCOPED_TRACE("allocation " + std::to_string(nth) + " " + name);
          if (!attempt(allocator, shortage, nth)) break;
          ++tried[name];
          nth += is_long_torture() ? 1 : 1 + nth / 12;
        }
      }
    }
    EXPECT_FALSE(tried.empty());
    for (const auto& [name, count] : tried) std::cout << count << " times " << name << '\n';
  }

  Files filled_;
};

class CallWithoutMemory : public FailingMemoryTest, public testing::WithParamInterface<Call> {
 protected:
  void fail_everywhere() {
    before_ = stored_state(file());
    {
      const auto project = open_unsynced();
      reply_ = call_.run(*project);
      after_ = stored_state(file());
    }
    at_every_allocation([&](Allocator allocator, Shortage shortage, int nth) {
      if (nth == 1) is_at_commit_ = false;
      return fail_once(allocator, shortage, nth);
    });
  }

 private:
  /// Waiting for the disk would take most of a run.
  std::unique_ptr<Project> open_unsynced() const {
    auto project = open();
    sql("PRAGMA synchronous = OFF").run(*project);
    return project;
  }

  /// Returns whether there was an allocation to fail.
  bool fail_once(Allocator allocator, Shortage shortage, int nth) {
    put(filled_);
    const LiveAllocations live = live_allocations();
    auto project = open_unsynced();
    std::optional<std::string> reply;
    bool has_failed = false;
    {
      const FailingMemory memory(allocator, shortage, nth);
      try {
        reply = call_.run(*project);
      } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): looked at below
      }
      has_failed = memory.has_failed();
    }
    if (reply || !has_failed) {
      EXPECT_EQ(reply, reply_);
    }
    if (!has_failed) return false;

    const bool is_left = is_left_in_transaction(*project);
    if (is_left) {
      project.reset();
      project = open_unsynced();
    }
    const StoredState stored = stored_state(file());
    const bool is_stored = stored == after_;
    EXPECT_TRUE(is_stored || (!reply && stored == before_)) << difference(stored, before_);
    expect_in_order(reply.has_value(), is_left, is_stored);
    if (!is_stored) {
      EXPECT_EQ(call_.run(*project), reply_);
    }
    EXPECT_NO_THROW(probe().run(*project));
    project.reset();
    EXPECT_EQ(live_allocations().of_sqlite, live.of_sqlite);
    return true;
  }

  /// Only a commit that fails may leave the transaction open, or store everything nevertheless; and
  /// only the reply follows it. Of the writers, `clear` alone does not roll back.
  void expect_in_order(bool has_reply, bool is_left, bool is_stored) {
    if (call_.operation == "clear" || before_ == after_) return;
    const bool is_commit = !has_reply && (is_left || is_stored);
    EXPECT_TRUE(has_reply || is_commit || !is_at_commit_) << "left open before the commit";
    is_at_commit_ = is_at_commit_ || is_commit;
  }

  const Call& call_ = GetParam();
  std::string reply_;
  StoredState before_;
  StoredState after_;
  bool is_at_commit_ = false;
};

TEST_P(CallWithoutMemory, StoresAllOrNothingAndCanBeRepeated) { fail_everywhere(); }

INSTANTIATE_TEST_SUITE_P(, CallWithoutMemory, testing::ValuesIn(all_calls()), call_name);

// --- The manager.

class ManagerWithoutMemory : public FailingMemoryTest {
 protected:
  using Manager = ProjectManager_Service_Impl;

  static std::string open_by(Manager& manager, const std::string& name) {
    OpenProjectResponse reply;
    manager.open({name}, reply);
    return std::move(reply.service_id);
  }
  static ProjectList list_by(Manager& manager) {
    ProjectList list;
    manager.list_({}, list);
    return list;
  }

  /// Managers that have another project open fail to open this one, and then open it.
  void fail_everywhere(const Files& start) {
    bool has_lost = false;
    bool is_behind_loss = false;
    at_every_allocation([&](Allocator allocator, Shortage shortage, int nth) {
      if (nth == 1) has_lost = is_behind_loss = false;
      put(start);
      const LiveAllocations live = live_allocations();
      const bool has_failed = fail_once(start, allocator, shortage, nth);
      // Poco's session leaks its connection in its constructor, but nothing leaks after that.
      const bool is_lost = live_allocations().of_sqlite != live.of_sqlite;
      EXPECT_FALSE(is_lost && is_behind_loss);
      is_behind_loss = has_lost && !is_lost;
      has_lost = has_lost || is_lost;
      return has_failed;
    });
  }

 private:
  /// Returns whether there was an allocation to fail.
  bool fail_once(const Files& start, Allocator allocator, Shortage shortage, int nth) {
    Manager manager;
    open_by(manager, folder_.file("other.db"));
    const auto live = krv::rpc4::live_services().size();
    bool has_failed = false;
    std::string id;
    {
      const FailingMemory memory(allocator, shortage, nth);
      try {
        id = open_by(manager, file());
      } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): looked at below
      }
      has_failed = memory.has_failed();
    }
    if (id.empty()) {
      EXPECT_TRUE(has_failed);
      EXPECT_EQ(list_by(manager).projects.size(), 1U);
      EXPECT_EQ(krv::rpc4::live_services().size(), live);
      expect_whole(start);
      put(start);
      id = open_by(manager, file());
    }
    EXPECT_EQ(id, "korvane.model.cad.Project:1");
    EXPECT_EQ(list_by(manager).projects.size(), 2U);
    EXPECT_EQ(open_by(manager, file()), id);
    return has_failed;
  }

  /// A new file has all its tables or none, an existing one all that it had.
  void expect_whole(const Files& start) const {
    const bool is_new = start.count(kName) == 0;
    const StoredState left = stored_state(file());
    if (is_new) {
      EXPECT_THAT(left.tables.size(), testing::AnyOf(1U, kTablesOfAProject));
    } else {
      EXPECT_EQ(read_files(folder_.path()).at(kName), start.at(kName));
    }
  }

  /// Ten of the project, SQLite's `sqlite_sequence`, and `sqlite_master`.
  static constexpr std::size_t kTablesOfAProject = 12;
};

TEST_F(ManagerWithoutMemory, RecordsNoProjectThatItFailedToMake) { fail_everywhere({}); }

TEST_F(ManagerWithoutMemory, RecordsNoProjectThatItFailedToOpen) { fail_everywhere(filled_); }

TEST_F(ManagerWithoutMemory, FailsOrAnswersForAProjectThatIsOpen) {
  Manager manager;
  const std::string id = open_by(manager, file());
  at_every_allocation([&](Allocator allocator, Shortage shortage, int nth) {
    const FailingMemory memory(allocator, shortage, nth);
    try {
      EXPECT_EQ(open_by(manager, file()), id);
    } catch (const std::bad_alloc&) {
      return true;
    }
    return memory.has_failed();
  });
  EXPECT_EQ(list_by(manager).projects.size(), 1U);
}

TEST_F(ManagerWithoutMemory, FailsOrListsAllProjects) {
  Manager manager;
  open_by(manager, file());
  open_by(manager, folder_.file("other.db"));
  at_every_allocation([&](Allocator allocator, Shortage shortage, int nth) {
    const FailingMemory memory(allocator, shortage, nth);
    try {
      EXPECT_EQ(list_by(manager).projects.size(), 2U);
    } catch (const std::bad_alloc&) {
      return true;
    }
    return memory.has_failed();
  });
}

}  // namespace
}  // namespace korvane::test

// What Poco leaks by itself: what a record set allocates before anything owns it, and a session's
// connection, whose traces end in SQLite. SQLite's own memory is counted above.
// NOLINTBEGIN(bugprone-reserved-identifier): the sanitizer's own name
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libsqlite3.so\n"
         "leak:Poco::Data::StatementImpl::createExtract\n"
         "leak:Poco::Data::RecordSet::RecordSet\n"
         "leak:Poco::Data::RecordSet::row\n";
}
// NOLINTEND(bugprone-reserved-identifier)
