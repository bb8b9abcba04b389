// Project files that others have open too: other programs with plain SQLite, and further sessions
// of the same process under other names of the file.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/plugins/korvane.model.cad.project/project_manager_service.h"
#include "platform/rpc4/directory.h"
#include "tests/scenarios/hostile_files/ordeal.h"
#include "tests/scenarios/other_programs/other_program.h"
#include "tests/scenarios/torture/torture_test.h"
#include "tests/support/records.h"
#include "tests/support/watched_child.h"

namespace korvane::test {
namespace {

using namespace model::cad;
using Poco::Data::SQLite::DBLockedException;
using Poco::Data::SQLite::InvalidSQLStatementException;
using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

using Project = Project_Service_Impl;
using Clock = std::chrono::steady_clock;

/// Longer than a session waits for a lock.
constexpr std::chrono::seconds kPatience = 100s;

/// Much shorter than that.
constexpr std::chrono::seconds kAtOnce = 10s;

const std::string& filled_bytes() {
  static const std::string bytes = [] {
    const TemporaryFolder folder;
    const std::string file = folder.file("project.db");
    fill(*std::make_unique<Project>(0, file));
    return bytes_of(file);
  }();
  return bytes;
}

/// Sessions wait a minute for a lock, unless a client says otherwise.
void wait_for_locks(Project& project, std::chrono::milliseconds time) {
  sql("PRAGMA busy_timeout = " + std::to_string(time.count())).run(project);
}

class OtherPrograms : public testing::Test {
 protected:
  OtherPrograms() { put_bytes(file(), filled_bytes()); }

  std::string file() const { return folder_.file("project.db"); }
  std::unique_ptr<Project> open() const { return std::make_unique<Project>(0, file()); }

  TemporaryFolder folder_;
};

// --- One lock, one call.

/// How a call that meets a lock, which stays, comes out.
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

  /// Whether a failure leaves the transaction open: that of the commit does, and any of a clear.
  bool leaves_transaction() const {
    return call.operation == "clear" || (lock == Lock::kRead && call.operation != "query_table");
  }
};

/// Of every call with every lock, but for those whose meeting is `without`.
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
    const auto project = open();
    other.open(file());
    other.run(sql_that_takes(GetParam().lock));
    std::atomic<bool> is_locked = true;
    std::thread unlocking([&] {
      std::this_thread::sleep_for(30ms);
      is_locked = false;
      other.run("rollback");
    });
    EXPECT_EQ(call_.run(*project), reply_);
    if (GetParam().meeting() == Meeting::kWaits) {
      EXPECT_FALSE(is_locked);
    }
    unlocking.join();
    expect_stored(after_);
  });
}

TEST_P(LockedFile, ThatStaysSoFailsTheCallWholeAndItCanBeRepeated) {
  run_watched(kPatience, [&](const Mark&) {
    PlainConnection other(file(), PlainConnection::Mode::kWrite);
    const auto project = open();
    wait_for_locks(*project, 20ms);
    other.run(sql_that_takes(GetParam().lock));
    if (GetParam().meeting() == Meeting::kDoesNotMind) {
      EXPECT_EQ(call_.run(*project), reply_);
      other.run("rollback");
    } else {
      EXPECT_THROW(call_.run(*project), DBLockedException);
      // What others see.
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

// Waiting would be in vain: the other program could not commit before this one has let go.
TEST_F(CallThatReadsFirst, DoesNotWaitForAWriter) {
  for (const Encounter& encounter : encounters()) {
    if (encounter.meeting() != Meeting::kGivesUp) continue;
    SCOPED_TRACE(encounter.name());
    PlainConnection other(file(), PlainConnection::Mode::kWrite);
    const auto project = open();
    other.run(sql_that_takes(Lock::kWrite));
    const auto start = Clock::now();
    EXPECT_THROW(encounter.call.run(*project), DBLockedException);
    EXPECT_LT(Clock::now() - start, kAtOnce);
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

/// Two that both have read and both want to write.
class Deadlock : public OtherPrograms {
 protected:
  Deadlock() {
    sql("begin").run(*project_);
    sql("select id from sheet").run(*project_);
    other_.run("begin; select count(*) from sheet");
  }

  /// Fails at once though the session would wait for a minute.
  static void expect_locked(const std::function<void()>& attempt) {
    const auto start = Clock::now();
    EXPECT_ANY_THROW(attempt());
    EXPECT_LT(Clock::now() - start, kAtOnce);
  }

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
      const auto project = open();
      other.open(file());
      other.run(sql_that_takes(lock));
      std::thread end([&] {
        std::this_thread::sleep_for(20ms);
        other.kill();
      });
      probe().run(*project);
      end.join();
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

// --- Names.

/// The sessions of a manager on a file with several names, and what each of two writers stores.
class SpellingsOfOneFile : public OtherPrograms {
 protected:
  SpellingsOfOneFile() {
    std::filesystem::current_path(folder_.path());
    std::filesystem::create_symlink("project.db", "symlink.db");
    std::filesystem::create_hard_link("project.db", "hardlink.db");
    std::filesystem::create_directory("sub");
  }
  ~SpellingsOfOneFile() override { std::filesystem::current_path(before_); }

  Project& open_as(const std::string& name) {
    model::OpenProjectResponse response;
    model::OpenProjectRequest request;
    request.filename = name;
    manager_.open(request, response);
    return static_cast<Project&>(*krv::rpc4::find_service<Project_Service>(response.service_id));
  }

  std::vector<std::string> other_names() const {
    return {file(), "./project.db", "symlink.db", "hardlink.db", folder_.file("symlink.db")};
  }

 private:
  std::filesystem::path before_ = std::filesystem::current_path();
  ProjectManager_Service_Impl manager_;
};

TEST_F(SpellingsOfOneFile, AreOneProjectWhenTheyAreLexicallyAlike) {
  Project& project = open_as("project.db");
  EXPECT_EQ(&open_as("sub/../project.db"), &project);
  EXPECT_EQ(&open_as("sub/.././project.db"), &project);
}

TEST_F(SpellingsOfOneFile, AreProjectsOfTheirOwnElse) {
  std::set<Project*> projects = {&open_as("project.db")};
  for (const std::string& name : other_names()) projects.insert(&open_as(name));
  EXPECT_EQ(projects.size(), 1 + other_names().size());
}

/// One of those that write at the same time. A call that finds the file locked is repeated.
class Writer {
 public:
  Writer(Project& project, std::string name, std::uint32_t seed)
      : project_(project), name_(std::move(name)), random_(seed) {}

  /// A sheet with a revision of its own, and a batch of bars in that.
  void write() {
    const std::string uid = name_ + " " + std::to_string(batches_.size());
    Sheet sheet;
    sheet.uid = uid;
    SheetRef sheet_ref;
    repeat([&] { project_.create_sheet(sheet, sheet_ref); });
    sheet_ids_[sheet_ref.id.value()] = uid;
    Revision revision;
    revision.sheet_id = sheet_ref.id.value();
    revision.uid = uid;
    RevisionRef revision_ref;
    repeat([&] { project_.create_revision(revision, revision_ref); });
    Batch<Rebar> batch;
    const std::size_t count = 1 + random_() % 40;
    for (std::size_t i = 0; i < count; ++i) {
      Rebar bar = full_rebar(revision_ref.id.value(), 1);
      bar.end_treatment_start.set(treatment(std::to_string(random_() % 30)));
      batch.items.push_back(bar);
    }
    GenericReply reply;
    repeat([&] { project_.add_rebar(batch, reply); });
    batches_[revision_ref.id.value()] = count;
  }

  /// Sheets by the ids that were answered, with their uids.
  const std::map<std::int32_t, std::string>& sheet_ids() const { return sheet_ids_; }
  /// The number of bars by revision.
  const std::map<std::int32_t, std::size_t>& batches() const { return batches_; }
  int repetitions() const { return repetitions_; }

 private:
  template <class Attempt>
  void repeat(Attempt attempt) {
    for (;;) {
      try {
        attempt();
        return;
      } catch (const DBLockedException&) {
        ++repetitions_;
        std::this_thread::yield();
      }
    }
  }

  Project& project_;
  std::string name_;
  std::mt19937 random_;
  std::map<std::int32_t, std::string> sheet_ids_;
  std::map<std::int32_t, std::size_t> batches_;
  int repetitions_ = 0;
};

/// All that the writers have stored is there once, under the ids that they were told.
void expect_whole(const std::string& file, Project& project,
                  const std::vector<const Writer*>& writers) {
  EXPECT_NO_THROW(stored_state(file));
  std::map<std::int32_t, std::string> sheets;
  std::map<std::int32_t, std::size_t> batches;
  std::size_t count = 0;
  for (const Writer* const writer : writers) {
    count += writer->sheet_ids().size();
    sheets.insert(writer->sheet_ids().begin(), writer->sheet_ids().end());
    batches.insert(writer->batches().begin(), writer->batches().end());
  }
  EXPECT_EQ(sheets.size(), count) << "an id was given twice";
  EXPECT_EQ(batches.size(), count) << "an id was given twice";
  for (const auto& [id, uid] : sheets) {
    Sheet sheet;
    project.get_sheet(by_id<SheetRef>(id), sheet);
    EXPECT_EQ(sheet.uid, uid);
  }
  for (const auto& [id, bars] : batches) {
    Rebars reply;
    project.get_all_rebars_for_revision(by_id<RevisionRef>(id), reply);
    EXPECT_EQ(reply.rebars.size(), bars);
  }
  EXPECT_EQ(plain_rows(file, "select count(*) from sheet where id > 2"),
            Rows({{std::to_string(count)}}));
  EXPECT_EQ(plain_rows(file,
                       "select count(*) from (select 1 from end_treatment group by type, "
                       "type_description, manufacturer, model, diameter, comment having "
                       "count(*) > 1)"),
            Rows({{"0"}}));
}

TEST_F(SpellingsOfOneFile, CanBeWrittenInTurns) {
  for (const std::string& name : other_names()) {
    SCOPED_TRACE(name);
    put_bytes("project.db", filled_bytes());
    std::filesystem::remove("hardlink.db");
    std::filesystem::create_hard_link("project.db", "hardlink.db");
    Project first(0, "project.db");
    Project second(1, name);
    Writer one(first, "one", 1);
    Writer other(second, "other", 2);
    for (int i = 0; i < 10; ++i) {
      one.write();
      other.write();
    }
    EXPECT_EQ(one.repetitions() + other.repetitions(), 0);
    expect_whole(file(), first, {&one, &other});
    expect_whole(file(), second, {&one, &other});
  }
}

TEST_F(SpellingsOfOneFile, CanBeWrittenByTwoThreadsAtOnce) {
  run_rounds(2, [&](std::uint32_t seed) {
    run_watched(kPatience, [&](const Mark& mark) {
      Project& first = open_as("project.db");
      for (const std::string& name : other_names()) {
        mark(name);
        sql("delete from sheet where id > 2").run(first);
        Project& second = open_as(name);
        Writer one(first, "one", seed);
        Writer other(second, "other", seed + 1);
        const auto write_all = [](Writer& writer) {
          for (int i = 0; i < 15; ++i) writer.write();
        };
        std::thread beside([&] { write_all(other); });
        write_all(one);
        beside.join();
        expect_whole(file(), second, {&one, &other});
      }
    });
  });
}

// --- Reading while another writes.

class ReaderBesideAWriter : public OtherPrograms {};

/// As many bars as fill many pages, all of one mark.
Batch<Rebar> bars_of_one_mark(const std::string& mark, int count) {
  Batch<Rebar> batch;
  for (int i = 0; i < count; ++i) {
    Rebar bar = full_rebar(1, 1);
    bar.mark = mark;
    bar.end_treatment_start.reset();
    bar.end_treatment_end.reset();
    batch.items.push_back(bar);
  }
  return batch;
}

TEST_F(ReaderBesideAWriter, SeesEachWriteWholeOrNotAtAll) {
  constexpr int kBars = 150;
  run_rounds(1, [&](std::uint32_t) {
    run_watched(kPatience, [&](const Mark&) {
      Project reader(0, file());
      Project writer(1, folder_.file("./project.db"));
      GenericReply none;
      writer.clear_for_revision(by_id<RevisionRef>(1), none);
      std::atomic<bool> is_writing = true;
      std::thread writing([&] {
        for (int i = 0; i < 25; ++i) {
          writer.add_rebar(bars_of_one_mark(std::to_string(i), kBars), none);
          writer.clear_for_revision(by_id<RevisionRef>(1), none);
        }
        is_writing = false;
      });
      std::set<std::size_t> sizes;
      int reads = 0;
      while (is_writing) {
        Rebars reply;
        reader.get_all_rebars_for_revision(by_id<RevisionRef>(1), reply);
        ++reads;
        sizes.insert(reply.rebars.size());
        for (const Rebar& bar : reply.rebars) EXPECT_EQ(bar.mark, reply.rebars[0].mark);
      }
      writing.join();
      EXPECT_GT(reads, 0);
      for (const std::size_t size : sizes) EXPECT_TRUE(size == 0 || size == kBars) << size;
    });
  });
}

}  // namespace
}  // namespace korvane::test
