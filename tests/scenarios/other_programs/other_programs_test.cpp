// Project files that other programs have open with plain SQLite.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/scenarios/other_programs/other_program.h"
#include "tests/scenarios/other_programs/shared_file.h"
#include "tests/support/wait_watch.h"

namespace korvane::test {
namespace {

using Poco::Data::SQLite::DBLockedException;
using Poco::Data::SQLite::InvalidSQLStatementException;

// --- One lock, one call.

/// What a call does that meets a lock.
enum class Meeting {
  kDoesNotMind,  ///< it does not need what is locked
  kWaits,        ///< it waits as long as a session may
  kGivesUp,      ///< it has read in its transaction, so that SQLite does not let it wait
};

struct Encounter {
  Call call;
  Lock lock;

  std::string name() const {
    constexpr const char* kNames[] = {"Reader", "Writer", "Exclusive"};
    return call.name() + "_" + kNames[static_cast<int>(lock)];
  }
  friend void PrintTo(const Encounter& encounter, std::ostream* stream) {
    *stream << encounter.name();
  }

  /// Whether the call looks at no table.
  bool is_idle() const {
    return call.operation == "addget_rebar" || call.operation == "query_value" ||
           call.name() == "clear_WithoutReset";
  }

  Meeting meeting() const {
    if (is_idle()) return Meeting::kDoesNotMind;
    if (lock == Lock::kExclusive) return Meeting::kWaits;
    if (!call.writes()) return Meeting::kDoesNotMind;
    // The row of the project, and the end treatments of bars, are looked for before the insert.
    const bool reads_first = call.operation == "update_project" || call.operation == "add_rebar";
    return lock == Lock::kWrite && reads_first ? Meeting::kGivesUp : Meeting::kWaits;
  }

  /// Whether a failure leaves the transaction open: a failing commit does, and any failing clear.
  bool leaves_transaction() const {
    return call.operation == "clear" || (lock == Lock::kRead && call.operation != "query_table");
  }
};

/// Every call with every lock, except those whose meeting is `without`.
std::vector<Encounter> encounters(std::optional<Meeting> without = std::nullopt) {
  std::vector<Encounter> encounters;
  for (const Call& call : all_calls()) {
    for (const Lock lock : {Lock::kRead, Lock::kWrite, Lock::kExclusive}) {
      const Encounter encounter{call, lock};
      if (encounter.meeting() != without) encounters.push_back(encounter);
    }
  }
  return encounters;
}

class LockedFile : public OtherPrograms, public testing::WithParamInterface<Encounter> {
 protected:
  LockedFile() {
    before_ = stored_state(file());
    reply_ = call_.run(*open());
    after_ = stored_state(file());
    put_bytes(file(), filled_bytes());
  }

  void expect_stored(const StoredState& expected) const {
    const StoredState found = stored_state(file());
    EXPECT_TRUE(found == expected) << difference(found, expected);
  }

  const Call& call_ = GetParam().call;
  std::string reply_;
  StoredState before_;
  StoredState after_;
};

using AwaitedFile = LockedFile;

TEST_P(AwaitedFile, IsWaitedForUntilTheLockGoes) {
  run_watched(kPatience, [&](const Mark&) {
    OtherProgram other;
    bool is_locked = true;
    const auto unlock = [&] {
      if (is_locked) other.run("rollback");
      is_locked = false;
    };
    const WaitWatch watch(unlock);
    const auto project = open();
    other.open(file());
    other.run(sql_that_takes(GetParam().lock));
    EXPECT_EQ(call_.run(*project), reply_);
    EXPECT_EQ(watch.waits() > 0, GetParam().meeting() == Meeting::kWaits);
    unlock();
    expect_stored(after_);
  });
}

TEST_P(LockedFile, ThatStaysSoFailsTheCallWholeAndItCanBeRepeated) {
  run_watched(kPatience, [&](const Mark&) {
    const WaitWatch watch;
    PlainConnection other(file(), PlainConnection::Mode::kWrite);
    const auto project = open();
    other.run(sql_that_takes(GetParam().lock));
    if (GetParam().meeting() == Meeting::kDoesNotMind) {
      EXPECT_EQ(call_.run(*project), reply_);
      other.run("rollback");
    } else {
      EXPECT_THROW(call_.run(*project), DBLockedException);
      // Others see the state before.
      EXPECT_EQ(other.rows("select count(*) from rebar"),
                Rows({{std::to_string(before_.tables.at("rebar").size())}}));
      other.run("rollback");
      if (GetParam().leaves_transaction()) {
        EXPECT_THROW(probe().run(*project), InvalidSQLStatementException);
        sql("rollback").run(*project);
      }
      expect_stored(before_);
      EXPECT_EQ(call_.run(*project), reply_);
    }
    expect_stored(after_);
    probe().run(*project);
  });
}

INSTANTIATE_TEST_SUITE_P(, AwaitedFile, testing::ValuesIn(encounters(Meeting::kGivesUp)),
                         [](const auto& entry) { return entry.param.name(); });
INSTANTIATE_TEST_SUITE_P(, LockedFile, testing::ValuesIn(encounters()),
                         [](const auto& entry) { return entry.param.name(); });

class CallThatReadsFirst : public OtherPrograms {};

// Waiting would be useless: the other program cannot commit before this one lets go of its read.
TEST_F(CallThatReadsFirst, DoesNotWaitForAWriter) {
  for (const Encounter& encounter : encounters()) {
    if (encounter.meeting() != Meeting::kGivesUp) continue;
    SCOPED_TRACE(encounter.name());
    const WaitWatch watch;
    PlainConnection other(file(), PlainConnection::Mode::kWrite);
    const auto project = open();
    other.run(sql_that_takes(Lock::kWrite));
    EXPECT_THROW(encounter.call.run(*project), DBLockedException);
    EXPECT_EQ(watch.waits(), 0);
    other.run("commit");
    EXPECT_NO_THROW(encounter.call.run(*project));
  }
}

// --- Opening.

class OpeningALockedFile : public OtherPrograms, public testing::WithParamInterface<Lock> {};

TEST_P(OpeningALockedFile, NeedsNoLock) {
  PlainConnection other(file(), PlainConnection::Mode::kWrite);
  other.run(sql_that_takes(GetParam()));
  const auto project = open();
  other.run("rollback");
  probe().run(*project);
}

INSTANTIATE_TEST_SUITE_P(, OpeningALockedFile,
                         testing::Values(Lock::kRead, Lock::kWrite, Lock::kExclusive));

// --- Deadlocks.

/// Both have read, and both want to write.
class Deadlock : public OtherPrograms {
 protected:
  Deadlock() {
    sql("begin").run(*project_);
    sql("select id from sheet").run(*project_);
    other_.run("begin; select count(*) from sheet");
  }

  /// Fails at once though the session would wait for a minute.
  void expect_locked(const std::function<void()>& attempt) const {
    EXPECT_ANY_THROW(attempt());
    EXPECT_EQ(watch_.waits(), 0);
  }

  const WaitWatch watch_;
  std::unique_ptr<Project> project_ = open();
  PlainConnection other_{file(), PlainConnection::Mode::kWrite};
};

TEST_F(Deadlock, FailsTheProjectWhenTheOtherProgramComesFirst) {
  other_.run("insert into sheet (uid) values ('other')");
  expect_locked([&] { sql("insert into sheet (uid) values ('project')").run(*project_); });
  sql("rollback").run(*project_);
  other_.run("commit");
  probe().run(*project_);
  EXPECT_EQ(plain_rows(file(), "select uid from sheet where id > 2"), Rows({{"other"}, {"probe"}}));
}

TEST_F(Deadlock, FailsTheOtherProgramWhenTheProjectComesFirst) {
  sql("insert into sheet (uid) values ('project')").run(*project_);
  expect_locked([&] { other_.run("insert into sheet (uid) values ('other')"); });
  other_.run("rollback");
  sql("commit").run(*project_);
  EXPECT_EQ(plain_rows(file(), "select uid from sheet where id > 2"), Rows({{"project"}}));
}

// --- Programs that die.

class DyingProgram : public OtherPrograms {};

TEST_F(DyingProgram, LeavesNoLock) {
  for (const Lock lock : {Lock::kRead, Lock::kWrite, Lock::kExclusive}) {
    put_bytes(file(), filled_bytes());
    run_watched(kPatience, [&](const Mark&) {
      OtherProgram other;
      const WaitWatch watch([&] { other.kill(); });
      const auto project = open();
      other.open(file());
      other.run(sql_that_takes(lock));
      probe().run(*project);
      EXPECT_GT(watch.waits(), 0);
      EXPECT_EQ(plain_rows(file(), "select uid from sheet where id > 2"), Rows({{"probe"}}));
    });
  }
}

TEST_F(DyingProgram, LeavesNothingOfAHalfWrittenTransaction) {
  for (const Call& call : calls_that_write(false)) {
    put_bytes(file(), filled_bytes());
    const std::string reply = call.run(*open());
    run_watched(kPatience, [&](const Mark&) {
      OtherProgram other;
      const auto project = open();
      other.open(file());
      other.run("PRAGMA cache_size = 1");
      other.run(
          "begin; update rebar set raw = zeroblob(length(raw)); update sheet set uid = id; "
          "delete from fabric; update material set raw = x'00'");
      EXPECT_NE(bytes_of(file()), filled_bytes()) << "nothing was half written";
      other.kill();
      EXPECT_EQ(call.run(*project), reply);
      probe().run(*project);
      EXPECT_NO_THROW(stored_state(file()));
    });
  }
}

}  // namespace
}  // namespace korvane::test
