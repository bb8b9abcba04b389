// Fails every file operation of every call of a project, one by one, and looks at what is left.

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/scenarios/torture/faulty_disk.h"
#include "tests/scenarios/torture/project_calls.h"
#include "tests/scenarios/torture/torture_test.h"

namespace korvane::test {
namespace {

using Poco::Data::SQLite::InvalidSQLStatementException;

/// When a disk that has failed works again: at once; or that kind of operation fails until the end
/// of the call; or everything fails until the project is closed.
enum class Healing { kAtOnce, kAfterTheCall, kAfterClosing };
constexpr std::array kHealings = {Healing::kAtOnce, Healing::kAfterTheCall, Healing::kAfterClosing};

Extent extent_of(Healing healing) {
  switch (healing) {
    case Healing::kAtOnce:
      return Extent::kOne;
    case Healing::kAfterTheCall:
      return Extent::kKind;
    default:
      return Extent::kAll;
  }
}

class FailingDisk : public TortureTest<FaultyDisk> {
 protected:
  FailingDisk() {
    fill(*open());
    filled_ = files();
  }

  /// Calls `attempt(fault, nth, healing)` for the first, second, … operation of each kind, until it
  /// returns that there was no such operation. Of the lasting faults it tries every third, except
  /// in a long run.
  template <class Attempt>
  void at_every_operation(Attempt attempt) {
    std::map<std::string, int> tried;
    for (const Fault& fault : kFaults) {
      for (const Healing healing : kHealings) {
        const int step = healing == Healing::kAtOnce || is_long_torture() ? 1 : 3;
        for (int nth = 1; !HasFailure(); nth += step) {
          SCOPED_TRACE(testing::Message() << "operation: " << fault << ", fails at: " << nth
                                          << ", healing: " << static_cast<int>(healing));
          if (!attempt(fault, nth, healing)) break;
          ++tried[fault.name];
        }
      }
    }
    EXPECT_FALSE(tried.empty());
    for (const auto& [name, count] : tried) std::cout << count << " times " << name << '\n';
  }

  /// The reply, or nothing when the call raised an exception.
  static std::optional<std::string> try_call(const Call& call, Project& project) {
    try {
      return call.run(project);
    } catch (const std::exception&) {
      return std::nullopt;
    }
  }

  /// SQLite unlocks after everything is stored, and reports a commit whose unlocking fails as
  /// failed. Only then is it unknown to the client whether all or nothing is stored.
  static bool comes_after_commit(const Fault& fault) {
    return fault.kind == FileOperationKind::kUnlock;
  }

  Files filled_;
};

// --- Calls.

class CallOnAFailingDisk : public FailingDisk, public testing::WithParamInterface<Call> {
 protected:
  void fail_everywhere(bool is_refused = false) {
    before_ = stored_state(file());
    {
      const auto project = open_with_settings();
      reply_ = try_call(call_, *project);
      after_ = stored_state(file());
      probe().run(*project);
      after_probe_ = stored_state(file());
    }
    ASSERT_EQ(reply_.has_value(), !is_refused);
    at_every_operation([&](const Fault& fault, int nth, Healing healing) {
      return fail_once(fault, nth, healing);
    });
  }

  /// Client SQL that each project starts with.
  std::string settings_;

 private:
  std::unique_ptr<Project> open_with_settings() const {
    auto project = open();
    if (!settings_.empty()) sql(settings_).run(*project);
    return project;
  }

  /// Returns whether there was an operation to fail.
  bool fail_once(const Fault& fault, int nth, Healing healing) {
    put(filled_);
    auto project = open_with_settings();
    disk_.fail(fault, nth, extent_of(healing));
    const std::optional<std::string> reply = try_call(call_, *project);
    if (healing == Healing::kAfterClosing) project.reset();
    const bool has_failed = disk_.heal();
    if (!has_failed) {
      EXPECT_EQ(reply, reply_);
      return false;
    }
    if (reply) {
      EXPECT_EQ(reply, reply_);
    }
    if (project && !reply && call_.operation == "clear" && is_left_in_transaction(*project)) {
      project.reset();
    }
    const bool is_stored = reply || (comes_after_commit(fault) && stored_state(file()) == after_);
    if (!project) {
      expect_stored(is_stored ? after_ : before_);
      project = open_with_settings();
    } else if (nth % 2 == 0) {
      expect_stored(is_stored ? after_ : before_);  // else the project itself recovers
    }
    if (!is_stored) {
      EXPECT_EQ(try_call(call_, *project), reply_);
    }
    probe().run(*project);
    project.reset();
    expect_stored(after_probe_);
    return true;
  }

  const Call& call_ = GetParam();
  /// Empty for a call that is refused.
  std::optional<std::string> reply_;
  StoredState before_;
  StoredState after_;
  StoredState after_probe_;
};

using WriteOnAFailingDisk = CallOnAFailingDisk;
using LargeWriteOnAFailingDisk = CallOnAFailingDisk;
using RefusedWriteOnAFailingDisk = CallOnAFailingDisk;
using ReadOnAFailingDisk = CallOnAFailingDisk;

TEST_P(WriteOnAFailingDisk, StoresAllOrNothingAndCanBeRepeated) { fail_everywhere(); }

// Pages that do not fit the cache are written before the commit, and must be rolled back.
TEST_P(LargeWriteOnAFailingDisk, StoresAllOrNothingWhenItOutgrowsTheCache) {
  settings_ = "PRAGMA cache_size = 1";
  fail_everywhere();
}

// The disk fails in the rollback too.
TEST_P(RefusedWriteOnAFailingDisk, StoresNothing) {
  settings_ = "PRAGMA cache_size = 1";
  fail_everywhere(true);
}

TEST_P(ReadOnAFailingDisk, RepliesInFullOrFailsAndCanBeRepeated) { fail_everywhere(); }

INSTANTIATE_TEST_SUITE_P(, WriteOnAFailingDisk, testing::ValuesIn(calls_that_write(true)),
                         call_name);
INSTANTIATE_TEST_SUITE_P(, LargeWriteOnAFailingDisk, testing::ValuesIn(large_writes()), call_name);
INSTANTIATE_TEST_SUITE_P(, RefusedWriteOnAFailingDisk, testing::Values(refused_write()), call_name);
INSTANTIATE_TEST_SUITE_P(, ReadOnAFailingDisk, testing::ValuesIn(calls_that_write(false)),
                         call_name);

TEST(CallsOnAFailingDisk, AreOfEveryOperationThereIs) {
  std::vector<std::string> operations;
  for (const auto& operation : model::cad::Project_Service::definition().operations) {
    operations.emplace_back(operation.name);
  }
  std::vector<std::string> tried;
  for (const Call& call : all_calls()) {
    if (tried.empty() || tried.back() != call.operation) tried.push_back(call.operation);
  }
  EXPECT_EQ(tried, operations);
}

// --- Opening.

class OpeningOnAFailingDisk : public FailingDisk {
 protected:
  /// Opens under each fault; `after_failure` and `after_success` look at the project closed.
  template <class AfterFailure, class AfterSuccess>
  void fail_everywhere(const Files& start, AfterFailure after_failure, AfterSuccess after_success) {
    at_every_operation([&](const Fault& fault, int nth, Healing healing) {
      put(start);
      disk_.fail(fault, nth, extent_of(healing));
      bool is_opened = false;
      try {
        const auto project = open();
        is_opened = true;
        sql("select id from sheet").run(*project);  // the first look into the file
        if (healing == Healing::kAfterTheCall) disk_.heal();
      } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): looked at below
      }
      const bool has_failed = disk_.heal();
      if (is_opened) {
        after_success();
      } else {
        after_failure(fault);
      }
      return has_failed;
    });
  }

  /// The files of a process that died while its last write was half done.
  Files interrupted(const Call& write) {
    Files left;
    for (int nth = 1;; ++nth) {
      put(filled_);
      auto project = open();
      disk_.fail({FileOperationKind::kWrite, SQLITE_IOERR_WRITE, "write"}, nth, Extent::kKind);
      const bool is_written = try_call(write, *project).has_value();
      project.reset();
      disk_.heal();
      if (is_written) return left;
      left = files();
    }
  }
};

TEST_F(OpeningOnAFailingDisk, OfANewProjectMakesAllTablesOrNone) {
  const StoredState nothing = stored_state(folder_.file("absent.db"));
  put({});
  open();
  const StoredState made = stored_state(file());
  fail_everywhere(
      {},
      [&](const Fault& fault) {
        const StoredState left = stored_state(file());
        if (!comes_after_commit(fault) || left != made) {
          EXPECT_TRUE(left == nothing) << difference(left, nothing);
        }
        put({});
        expect_stored(made);
      },
      [&] { expect_stored(made); });
}

TEST_F(OpeningOnAFailingDisk, OfAnExistingProjectChangesNothing) {
  const StoredState before = stored_state(file());
  const auto expect_before = [&](const auto&...) { expect_stored(before); };
  fail_everywhere(filled_, expect_before, expect_before);
}

TEST_F(OpeningOnAFailingDisk, OfAnInterruptedProjectUndoesTheWriteSoonerOrLater) {
  const StoredState before = stored_state(file());
  const auto expect_before = [&](const auto&...) { expect_stored(before); };
  for (const Call& call : large_writes()) {
    SCOPED_TRACE(call.name());
    const Files left = interrupted(call);
    ASSERT_EQ(left.size(), 2U);
    ASSERT_NE(left.at(kName), filled_.at(kName));
    fail_everywhere(left, expect_before, expect_before);
  }
}

// --- Sequences.

class SequenceOnAFailingDisk : public FailingDisk {
 protected:
  std::size_t below(std::size_t limit) { return random_() % limit; }

  /// One call on the failing disk and, if it succeeded, on the twin, which never fails.
  void step(const Call& call) {
    bool may_be_stored = false;
    for (std::size_t faults = below(4); faults > 0; --faults) {
      const Fault fault = kFaults[below(kFaults.size())];
      disk_.fail(fault, static_cast<int>(1 + below(30)), extent_of(kHealings[below(3)]));
      may_be_stored = may_be_stored || comes_after_commit(fault);
    }
    const std::optional<std::string> reply = try_call(call, *project_);
    if (below(4) == 0) project_.reset();
    const bool has_failed = disk_.heal();
    if (project_ && !reply && call.operation == "clear" && is_left_in_transaction(*project_)) {
      project_.reset();
    }
    if (reply || !has_failed) {
      EXPECT_EQ(reply, try_call(call, *twin_));
    } else if (may_be_stored && stored_state(file()) != stored_state(twin_file())) {
      try_call(call, *twin_);
    }
    if (!project_) start();
    const StoredState found = stored_state(file());
    const StoredState expected = stored_state(twin_file());
    ASSERT_TRUE(found == expected) << difference(found, expected);
  }

  void start() {
    project_ = open();
    if (below(2) == 0) sql("PRAGMA cache_size = 1").run(*project_);
  }

  std::string twin_file() const { return folder_.file("twin.db"); }

  std::mt19937 random_;
  std::unique_ptr<Project> project_;
  std::unique_ptr<Project> twin_;
};

TEST_F(SequenceOnAFailingDisk, LeavesWhatTheSameCallsLeaveOnADiskThatWorks) {
  run_rounds(20, [&](std::uint32_t seed) {
    random_.seed(seed);
    RandomCalls calls(seed);
    project_.reset();
    twin_.reset();
    put({{kName, filled_.at(kName)}, {"twin.db", filled_.at(kName)}});
    start();
    twin_ = std::make_unique<Project>(1, twin_file());
    for (int i = 0; i < 40 && !HasFailure(); ++i) {
      const Call call = calls.next();
      SCOPED_TRACE("step " + std::to_string(i) + ": " + call.name());
      ASSERT_NO_THROW(step(call));
    }
  });
}

}  // namespace
}  // namespace korvane::test
