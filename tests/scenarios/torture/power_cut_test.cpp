// Cuts the power after every change that a call makes to its disk, loses what was not synced, and
// opens what is left.

#include <algorithm>
#include <cstddef>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <unordered_set>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/access/durable_commits.h"
#include "tests/scenarios/torture/losing_disk.h"
#include "tests/scenarios/torture/project_calls.h"
#include "tests/scenarios/torture/recording_disk.h"
#include "tests/scenarios/torture/torture_test.h"

namespace korvane::test {
namespace {

/// What a project went through, from one state of its files on.
struct History {
  Files start;
  std::vector<DiskEvent> events;
  /// The state at the start and after each call, and the number of events until then.
  std::vector<StoredState> states;
  std::vector<std::size_t> marks;
};

/// The states that are allowed after a power cut, as the first and last of a history.
struct Allowed {
  std::size_t first;
  std::size_t last;
};

/// What a power cut after `cut` events may leave: every call that was answered, and the one under
/// way or not. A folder that loses names may bring a journal back until it is synced again, and
/// with it the state before the last call.
Allowed allowed_after(const History& history, std::size_t cut, Folder folder) {
  const auto call_at = [&](std::size_t events) {
    return static_cast<std::size_t>(
        std::lower_bound(history.marks.begin(), history.marks.end(), events) -
        history.marks.begin());
  };
  const std::size_t last = call_at(cut);
  const std::size_t answered = history.marks[last] == cut ? last : last - 1;
  if (folder == Folder::kSafe) return {answered, last};
  for (std::size_t events = cut; events > 0; --events) {
    const DiskEvent& event = history.events[events - 1];
    if (!event.syncs_folder) continue;
    // The removal of a journal is the commit; the sync of a new one comes before it.
    const std::size_t call = call_at(events);
    const bool is_commit = event.kind == DiskEvent::Kind::kRemove;
    return {std::min(answered, is_commit ? call : call - 1), last};
  }
  return {0, last};
}

class PowerCut : public TortureTest<RecordingDisk> {
 protected:
  PowerCut() {
    fill(*open());
    filled_ = files();
  }
  ~PowerCut() override { std::cout << tried_ << " power cuts\n"; }

  /// Does `calls` one after the other on a project that `files` are of.
  History record(const Files& start, const std::vector<std::function<void()>>& calls) {
    History history{start, {}, {stored_state(file())}, {0}};
    disk_.start_over();
    for (const auto& call : calls) {
      call();
      history.marks.push_back(disk_.events().size());
      history.states.push_back(stored_state(file()));
    }
    history.events = disk_.events();
    return history;
  }

  /// One call on the filled project, after the client SQL `settings`.
  History record(const Call& call, const std::string& settings = "") {
    put(filled_);
    const auto project = open();
    if (!settings.empty()) sql(settings).run(*project);
    return record(filled_, {[&] { try_call(call, *project); }});
  }

  /// Some calls are refused.
  static void try_call(const Call& call, Project& project) {
    try {
      call.run(project);
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): see above
    }
  }

  /// What is wrong with `left`, or nothing.
  std::optional<std::string> problem(const History& history, const Files& left, Allowed allowed) {
    put(left);
    StoredState found;
    try {
      if (left.count(kName) != 0) {
        sql("select count(*) from sqlite_master").run(*open());
      }
      found = stored_state(file());
    } catch (const std::exception& exception) {
      return exception.what();
    }
    std::string differences;
    for (std::size_t i = allowed.first; i <= allowed.last; ++i) {
      if (found == history.states[i]) return std::nullopt;
      differences += difference(found, history.states[i]) + "\n";
    }
    return differences;
  }

  /// The first problem that a power cut leads to, after each event and with each survival for which
  /// `is_tried` says so. What is random is tried `repeats` times.
  template <class IsTried>
  std::optional<std::string> first_problem(const History& history, Folder folder, int repeats,
                                           std::mt19937& random, IsTried is_tried) {
    LosingDisk disk(history.start, folder);
    seen_.clear();
    for (std::size_t cut = 0;; ++cut) {
      const Allowed allowed = allowed_after(history, cut, folder);
      for (const Survival survival : kSurvivals) {
        const bool is_random = survival >= Survival::kTorn;
        for (int i = is_random ? repeats : 1; i > 0 && is_tried(); --i) {
          const Files left = disk.after_power_cut(survival, random);
          if (!is_new(left, allowed)) continue;
          ++tried_;
          if (const auto found = problem(history, left, allowed)) {
            return "after " + std::to_string(cut) + " of " + std::to_string(history.events.size()) +
                   " events, survival " + std::to_string(static_cast<int>(survival)) + ": " +
                   *found;
          }
        }
      }
      if (cut == history.events.size()) return std::nullopt;
      disk.apply(history.events[cut]);
    }
  }

  void expect_whole_everywhere(const History& history, Folder folder) {
    EXPECT_GT(history.events.size(), 0U);
    const std::uint32_t seed = torture_seed();
    std::cout << "KORVANE_TORTURE_SEED=" << seed << '\n';
    std::mt19937 random(seed);
    const int repeats = is_long_torture() ? 8 : 1;
    EXPECT_EQ(first_problem(history, folder, repeats, random, [] { return true; }), std::nullopt)
        << "replay with KORVANE_TORTURE_SEED=" << seed
        << (is_long_torture() ? " KORVANE_TORTURE_ROUNDS=1" : "");
  }

  Files filled_;
  int tried_ = 0;

 private:
  /// Whether these files were not looked at before.
  bool is_new(const Files& left, Allowed allowed) {
    std::string all = std::to_string(allowed.first) + "-" + std::to_string(allowed.last);
    for (const auto& [name, bytes] : left) all += name + '\0' + bytes;
    return seen_.insert(std::hash<std::string>{}(all)).second;
  }

  std::unordered_set<std::size_t> seen_;
};

// --- Calls.

class PowerCutInACall : public PowerCut, public testing::WithParamInterface<Call> {};
using PowerCutInALargeCall = PowerCutInACall;

TEST_P(PowerCutInACall, LeavesAllOrNothingAndWhatWasAnswered) {
  const History history = record(GetParam());
  ASSERT_FALSE(history.states.front() == history.states.back());
  expect_whole_everywhere(history, Folder::kSafe);
}

TEST_P(PowerCutInACall, LeavesAllOrNothingWhenTheFolderLosesNamesToo) {
  expect_whole_everywhere(record(GetParam()), Folder::kLosesNames);
}

TEST_P(PowerCutInALargeCall, LeavesAllOrNothingWhenItOutgrowsTheCache) {
  expect_whole_everywhere(record(GetParam(), "PRAGMA cache_size = 1"), Folder::kLosesNames);
}

TEST_F(PowerCut, InTheRollbackOfARefusedCallLeavesNothingOfIt) {
  const History history = record(refused_write(), "PRAGMA cache_size = 1");
  ASSERT_TRUE(history.states.front() == history.states.back());
  expect_whole_everywhere(history, Folder::kLosesNames);
}

std::vector<Call> changing_calls() {
  std::vector<Call> calls = calls_that_write(true);
  std::erase_if(calls, [](const Call& call) {
    return call.name() == "clear_WithoutReset" || call.name() == "addget_rebar";
  });
  return calls;
}

INSTANTIATE_TEST_SUITE_P(, PowerCutInACall, testing::ValuesIn(changing_calls()), call_name);
INSTANTIATE_TEST_SUITE_P(, PowerCutInALargeCall, testing::ValuesIn(large_writes()), call_name);

// --- Openings.

TEST_F(PowerCut, InTheOpeningOfANewProjectLeavesAllTablesOrNone) {
  for (const Folder folder : {Folder::kSafe, Folder::kLosesNames}) {
    put({});
    const History history = record({}, {[&] { open(); }});
    expect_whole_everywhere(history, folder);
  }
}

/// The files when a call has written everything but not yet removed its journal.
Files before_the_commit(const History& history, Folder folder) {
  LosingDisk disk(history.start, folder);
  for (const DiskEvent& event : history.events) {
    if (event.kind == DiskEvent::Kind::kRemove) break;
    disk.apply(event);
  }
  std::mt19937 unused;
  return disk.after_power_cut(Survival::kEverything, unused);
}

TEST_F(PowerCut, InTheRecoveryFromAPowerCutLeavesTheStateBeforeTheCall) {
  for (const Call& call : large_writes()) {
    SCOPED_TRACE(call.name());
    const History lost = record(call, "PRAGMA cache_size = 1");
    const Files start = before_the_commit(lost, Folder::kSafe);
    ASSERT_EQ(start.size(), 2U);
    // Looking at the state would recover it.
    put(filled_);
    History history = record(start, {});
    put(start);
    disk_.start_over();
    sql("select count(*) from sheet").run(*open());
    history.events = disk_.events();
    history.marks.push_back(history.events.size());
    history.states.push_back(history.states.front());
    for (const Folder folder : {Folder::kSafe, Folder::kLosesNames}) {
      expect_whole_everywhere(history, folder);
    }
  }
}

// --- What the folder decides.

class PowerCutAfterACall : public PowerCut {
 protected:
  /// The effect of a power cut right after the reply, when the folder loses all it can.
  std::optional<std::string> problem_behind(const History& history) {
    LosingDisk disk(history.start, Folder::kLosesNames);
    for (const DiskEvent& event : history.events) disk.apply(event);
    std::mt19937 unused;
    const Files left = disk.after_power_cut(Survival::kNothing, unused);
    return problem(history, left, {1, 1});
  }
};

// The removal of the journal is the commit, and SQLite syncs it with "extra" alone.
TEST_F(PowerCutAfterACall, TakesTheLastCallBackWhenTheFolderLosesTheRemovalOfItsJournal) {
  EXPECT_NE(problem_behind(record(all_calls().front())), std::nullopt);
}

TEST_F(PowerCutAfterACall, TakesNothingBackWhenTheFolderIsSyncedAsWell) {
  const History history = record(all_calls().front(), "PRAGMA synchronous = EXTRA");
  EXPECT_EQ(problem_behind(history), std::nullopt);
  expect_whole_everywhere(history, Folder::kLosesNames);
}

// As the server has it: no connection sets anything.
TEST_F(PowerCutAfterACall, TakesNothingBackOnceCommitsAreDurable) {
  const host::DurableCommits durable;
  for (const Call& call : changing_calls()) {
    SCOPED_TRACE(call.name());
    EXPECT_EQ(problem_behind(record(call)), std::nullopt);
  }
  expect_whole_everywhere(record(all_calls().front()), Folder::kLosesNames);
}

// Shows that the losing disk does lose data.
TEST_F(PowerCut, DamagesAProjectThatSyncsNothing) {
  std::mt19937 random;
  for (const Call& call : large_writes()) {
    const History history = record(call, "PRAGMA synchronous = OFF");
    const auto all = [] { return true; };
    EXPECT_NE(first_problem(history, Folder::kSafe, 1, random, all), std::nullopt) << call.name();
  }
}

// --- Sequences.

TEST_F(PowerCut, InASequenceOfCallsLeavesAllThatWereAnswered) {
  run_rounds(10, [&](std::uint32_t seed) {
    std::mt19937 random(seed);
    RandomCalls random_calls(seed);
    put(filled_);
    const auto settings = random() % 2 == 0 ? "PRAGMA cache_size = 1" : "PRAGMA cache_size = 100";
    auto project = open();
    sql(settings).run(*project);
    const auto try_next = [&] { try_call(random_calls.next(), *project); };
    const History history = record(filled_, std::vector<std::function<void()>>(15, try_next));
    project.reset();
    const auto folder = random() % 2 == 0 ? Folder::kSafe : Folder::kLosesNames;
    const std::size_t one_in = history.events.size() * kSurvivals.size() / 60 + 1;
    const auto some = [&] { return random() % one_in == 0; };
    EXPECT_EQ(first_problem(history, folder, 1, random, some), std::nullopt);
  });
}

}  // namespace
}  // namespace korvane::test
