// What one statement could take in one breath, and what it could leave behind.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <Poco/Exception.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "tests/host/access/fenced_project.h"
#include "tests/support/expanding_select.h"

namespace korvane::host {
namespace {

constexpr std::int64_t kMegabyte = std::int64_t{1024} * 1024;

class Bounds : public Fenced, public testing::WithParamInterface<DoorKind> {
 protected:
  std::unique_ptr<Door> door() const { return GetParam().make(file()); }
};
INSTANTIATE_TEST_SUITE_P(Doors, Bounds, kDoors, [](const auto& entry) { return entry.param.name; });

SqlFenceLimits with_memory(std::int64_t memory) {
  SqlFenceLimits limits = kAmple;
  limits.memory = memory;
  return limits;
}

TEST_P(Bounds, EndAnExpansionThatTakesTooMuchMemory) {
  EXPECT_EQ(verdict(*door(), test::expanding_select(24), with_memory(16 * kMegabyte)),
            "a fenced query may have 16777216 bytes of memory for its SQL: it was stopped");
}

TEST_P(Bounds, EndAnExpansionThatTakesTooMuchTime) {
  SqlFenceLimits limits = with_memory(4096 * kMegabyte);
  limits.time = 100ms;
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(stop_of(*door(), test::expanding_select(24), limits), FenceStop::too_long);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
}

TEST_P(Bounds, EndAnExpansionOfAViewInWhateverReadsIt) {
  const auto opened = door();
  opened->run("create view v0 as select id as x from sheet");
  for (int i = 1; i <= 20; ++i) {
    const std::string former = "v" + std::to_string(i - 1);
    opened->run("create view v" + std::to_string(i) + " as select l.x from " + former + " l, " +
                former + " r");
  }
  for (const SqlAccess access : {SqlAccess::reads, SqlAccess::changes, SqlAccess::everything}) {
    SqlFenceLimits limits = with_memory(16 * kMegabyte);
    limits.access = access;
    EXPECT_EQ(stop_of(*opened, "select count(*) from v20", limits), FenceStop::too_much_memory);
    opened->run("insert into sheet (uid) values ('after " +
                std::to_string(static_cast<int>(access)) + "')");
  }
}

TEST_P(Bounds, EndAValueThatAViewMakesTooLarge) {
  const auto opened = door();
  opened->run("create view v as select zeroblob(100000000) as b");
  SqlFenceLimits limits = for_anything(with_memory(16 * kMegabyte));
  limits.length = 1'000'000'000;
  EXPECT_EQ(stop_of(*opened, "select b from v", limits), FenceStop::too_much_memory);
}

TEST_P(Bounds, LeaveTheConnectionUsableAfterATransactionThatRanOutOfMemory) {
  const auto opened = door();
  {
    SqlFence fence(for_anything(with_memory(16 * kMegabyte)));
    opened->run("begin; insert into sheet (uid) values ('third')");
    EXPECT_ANY_THROW(opened->run(test::expanding_select(24)));
    EXPECT_EQ(fence.stopped(), FenceStop::too_much_memory);
    fence.roll_back();
  }
  EXPECT_EQ(sheets(), "2");
  opened->run("insert into sheet (uid) values ('third')");
  EXPECT_EQ(sheets(), "3");
}

TEST_P(Bounds, RefuseAFormatThatWritesForSeconds) {
  const auto opened = door();
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(stop_of(*opened, "select length(printf('%.*c', 2147483647, 'a')) as n", kAmple),
            FenceStop::too_large);
  opened->run("create view v as select printf('%.*c', 2147483647, 'a') as t");
  EXPECT_EQ(stop_of(*opened, "select length(t) as n from v", for_anything(kAmple)),
            FenceStop::too_large);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
}

TEST_P(Bounds, LookAtTheClockBetweenTheFunctionsOfOneRow) {
  std::string sql = "select 1";
  for (int i = 0; i < 400; ++i) sql += ", instr(t.a, t.b) as c" + std::to_string(i);
  const auto opened = door();
  opened->run(
      "create table t (a text, b text); insert into t values ("
      "replace(hex(zeroblob(60000)), '0', 'a') || 'b', replace(hex(zeroblob(500)), '0', 'a'))");
  opened->run("update t set b = b || 'c'");
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(stop_of(*opened, sql + " from t", with_time(100ms)), FenceStop::too_long);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
}

TEST_P(Bounds, LowerTheLimitsOfWhatIsParsed) {
  const auto opened = door();
  std::string compound = "select 1";
  for (int i = 0; i < 150; ++i) compound += " union all select 1";
  std::string deep = "1";
  for (int i = 0; i < 300; ++i) deep = "(" + deep + " + 1)";
  std::string arguments = "coalesce(null";
  for (int i = 0; i < 100; ++i) arguments += ", null";
  const std::vector<std::string> too_much = {compound, "select " + deep,
                                             "select " + arguments + ")",
                                             "select 1 /* " + std::string(1'100'000, ' ') + " */"};
  for (const std::string& sql : too_much) {
    EXPECT_ANY_THROW(opened->run(sql)) << sql.substr(0, 50);
    EXPECT_ANY_THROW(verdict(*opened, sql)) << sql.substr(0, 50);
  }
  EXPECT_EQ(verdict(*opened, "select 1 /* " + std::string(900'000, ' ') + " */"), "");
}

TEST_P(Bounds, LowerTheNumberOfColumnsOfWhatOnlyReads) {
  const auto opened = door();
  std::string columns = "select 1";
  for (int i = 0; i < 600; ++i) columns += ", " + std::to_string(i);
  EXPECT_ANY_THROW(verdict(*opened, columns));
  opened->run(columns);
}

// --- What may be changed by a client, and what may not.

struct Attempt {
  const char* name;
  const char* sql;
  /// Empty for what is allowed.
  const char* refused;
};
void PrintTo(const Attempt& attempt, std::ostream* out) { *out << attempt.sql; }

class Changes : public Fenced, public testing::WithParamInterface<std::tuple<Attempt, DoorKind>> {};

TEST_P(Changes, StayWithinTheFileAndEndWithTheStatement) {
  const auto& [attempt, kind] = GetParam();
  const auto opened = kind.make(file());
  const std::string expected =
      attempt.refused[0] == '\0'
          ? ""
          : std::string("a call may change its project only: ") + attempt.refused + " is refused";
  EXPECT_EQ(verdict(*opened, attempt.sql, for_changes(kAmple)), expected);
  for (const auto& [name, bytes] : contents()) EXPECT_EQ(name, "project.db");
  // Nothing of it is in the way of others.
  opened->run("insert into sheet (uid) values ('after')");
}

INSTANTIATE_TEST_SUITE_P(
    , Changes,
    testing::Combine(
        testing::Values(
            Attempt{"Insert", "insert into sheet (uid) values ('third')", ""},
            Attempt{"Update", "update sheet set uid = 'x' where id = 1", ""},
            Attempt{"Delete", "delete from sheet", ""},
            Attempt{"CreateTable", "create table t (a)", ""},
            Attempt{"CreateTableAsSelect", "create table t as select * from sheet", ""},
            Attempt{"CreateIndex", "create index i on sheet (raw)", ""},
            Attempt{"CreateView", "create view v as select 1 as a", ""},
            Attempt{"CreateTrigger", "create trigger g after delete on sheet begin select 1; end",
                    ""},
            Attempt{"CreateVirtualTable", "create virtual table f using fts5 (a)", ""},
            Attempt{"AlterTable", "alter table sheet add column extra", ""},
            Attempt{"RenameColumn", "alter table sheet rename column raw to cooked", ""},
            Attempt{"DropTable", "drop table mountingpart", ""}, Attempt{"Vacuum", "vacuum", ""},
            Attempt{"Analyze", "analyze", ""}, Attempt{"Reindex", "reindex", ""},
            Attempt{"IntegrityCheck", "pragma integrity_check", ""},
            Attempt{"TableInfo", "pragma table_info (sheet)", ""},
            Attempt{"TableInfoAsFunction", "select name from pragma_table_info('sheet')", ""},
            Attempt{"ForeignKeysRead", "pragma foreign_keys", ""},
            Attempt{"UserVersion", "pragma user_version = 7", ""},
            Attempt{"UserVersionInCapitals", "PRAGMA USER_VERSION = 7", ""},
            Attempt{"Begin", "begin", "begin, commit or rollback"},
            Attempt{"BeginExclusive", "begin exclusive", "begin, commit or rollback"},
            Attempt{"Commit", "commit", "begin, commit or rollback"},
            Attempt{"Rollback", "rollback", "begin, commit or rollback"},
            Attempt{"Savepoint", "savepoint s", "savepoint"},
            Attempt{"Attach", "attach 'other.db' as other", "attach"},
            Attempt{"AttachNothing", "attach '' as other", "attach"},
            Attempt{"AttachMemory", "attach ':memory:' as other", "attach"},
            Attempt{"AttachOfExpression", "attach 'other' || '.db' as other", "attach"},
            Attempt{"AttachUri", "attach 'file:other.db?mode=rwc' as other", "attach"},
            Attempt{"Detach", "detach main", "detach"},
            Attempt{"VacuumInto", "vacuum into 'copy.db'", "attach"},
            Attempt{"VacuumIntoAnExpression", "vacuum into 'copy' || '.db'", "attach"},
            Attempt{"CreateTempTable", "create temp table t (a)", "changing the temporary schema"},
            Attempt{"CreateTableInTemp", "create table temp.t (a)",
                    "changing the temporary schema"},
            Attempt{"CreateTempView", "create temp view sheet as select 1 as id",
                    "changing the temporary schema"},
            Attempt{"CreateTempTrigger",
                    "create temp trigger g after insert on sheet begin select 1; end",
                    "changing the temporary schema"},
            Attempt{"ForeignKeysOff", "pragma foreign_keys = off", "pragma foreign_keys"},
            Attempt{"ForeignKeysOffAsCall", "pragma foreign_keys(0)", "pragma foreign_keys"},
            Attempt{"QueryOnly", "pragma query_only = on", "pragma query_only"},
            Attempt{"JournalMode", "pragma journal_mode = wal", "pragma journal_mode"},
            Attempt{"LockingMode", "pragma locking_mode = exclusive", "pragma locking_mode"},
            Attempt{"WritableSchema", "pragma writable_schema = on", "pragma writable_schema"},
            Attempt{"TrustedSchema", "pragma trusted_schema = on", "pragma trusted_schema"},
            Attempt{"BusyTimeout", "pragma busy_timeout = 0", "pragma busy_timeout"},
            Attempt{"CacheSize", "pragma cache_size = -1000000", "pragma cache_size"},
            Attempt{"TempStoreDirectory", "pragma temp_store_directory = '/'",
                    "pragma temp_store_directory"},
            Attempt{"Threads", "pragma threads = 8", "pragma threads"},
            Attempt{"OptimizePragma", "pragma optimize", "pragma optimize"},
            Attempt{"PragmaUnknown", "pragma nothing_known", "pragma nothing_known"},
            Attempt{"LoadExtension", "select load_extension('x')", "calling load_extension"},
            Attempt{"JsonPatch", "select json_patch('{}', '{}') as j", "calling json_patch"}),
        kDoors),
    [](const auto& entry) {
      return std::string(std::get<Attempt>(entry.param).name) +
             std::get<DoorKind>(entry.param).name;
    });

// --- Files that nobody vouches for.

class UntrustedFile : public Fenced {};

TEST_F(UntrustedFile, IsOpenedWithoutTrustInItsSchemaAndWithItsPagesChecked) {
  sqlite3* connection = nullptr;
  ASSERT_EQ(sqlite3_open(file().c_str(), &connection), SQLITE_OK);
  int is_trusted = -1;
  int is_defensive = -1;
  sqlite3_db_config(connection, SQLITE_DBCONFIG_TRUSTED_SCHEMA, -1, &is_trusted);
  sqlite3_db_config(connection, SQLITE_DBCONFIG_DEFENSIVE, -1, &is_defensive);
  EXPECT_EQ(is_trusted, 0);
  EXPECT_EQ(is_defensive, 1);
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(connection, "pragma cell_size_check", -1, &statement, nullptr);
  EXPECT_EQ(sqlite3_step(statement), SQLITE_ROW);
  EXPECT_EQ(sqlite3_column_int(statement, 0), 1);
  sqlite3_finalize(statement);
  EXPECT_NE(
      sqlite3_exec(connection, "pragma writable_schema = on; update sqlite_master set sql = ''",
                   nullptr, nullptr, nullptr),
      SQLITE_OK);
  sqlite3_close(connection);
}

TEST_F(UntrustedFile, RunsNoFunctionFromItsSchemaThatCouldDoHarm) {
  PluginDoor door(file());
  for (const char* const call : {"load_extension('x')", "fts3_tokenizer('simple')"}) {
    door.run(std::string("create view v as select ") + call + " as a");
    EXPECT_THAT([&] { door.run("select a from v"); },
                testing::Throws<Poco::Exception>(testing::Property(
                    &Poco::Exception::displayText, testing::HasSubstr("unsafe use of"))));
    door.run("drop view v");
  }
}

TEST_F(UntrustedFile, KeepsNoLargeSchemaInMemoryBetweenCalls) {
  {
    PlainDoor door(file());
    const std::string columns = std::string(100, ' ') + "a text, b text, c text, d text";
    std::string tables = "begin;";
    for (int i = 0; i < 5000; ++i) {
      tables += "create table t" + std::to_string(i) + " (" + columns + ");";
    }
    door.run(tables + "commit");
  }
  const std::int64_t before = sqlite3_memory_used();
  std::vector<std::unique_ptr<PlainDoor>> doors;
  for (int i = 0; i < 40; ++i) {
    doors.push_back(std::make_unique<PlainDoor>(file()));
    EXPECT_EQ(verdict(*doors.back(), "select count(*) from sheet"), "");
  }
  EXPECT_LT(sqlite3_memory_used() - before, 80 * kMegabyte);
  for (auto& door : doors) EXPECT_EQ(verdict(*door, "select count(*) from sheet"), "");
  EXPECT_LT(sqlite3_memory_used() - before, 80 * kMegabyte);
}

// --- Locks of other programs.

class Locks : public Fenced {
 protected:
  /// How long the statement runs into the lock before it fails.
  std::chrono::milliseconds time_until_failure(const SqlFenceLimits& limits, const char* sql) {
    PlainDoor door(file());
    const SqlFence fence(limits);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_ANY_THROW(door.run(sql));
    gave_way_ = fence.gave_way();
    EXPECT_EQ(fence.stopped(), std::nullopt);
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 begin);
  }

  PlainDoor other_{file()};
  bool gave_way_ = false;
};

TEST_F(Locks, AreWaitedForAndNoLongerThanAllowed) {
  other_.run("begin immediate");
  SqlFenceLimits limits = for_anything(kAmple);
  limits.lock_wait = 300ms;
  EXPECT_GE(time_until_failure(limits, "insert into sheet (uid) values ('third')"), 250ms);
  EXPECT_FALSE(gave_way_);
}

TEST_F(Locks, AreWaitedForNoLongerThanTheTimeOfAll) {
  other_.run("begin exclusive");
  EXPECT_LT(time_until_failure(with_time(200ms), "select id from sheet"), 5s);
  EXPECT_FALSE(gave_way_);
}

TEST_F(Locks, AreGivenWayInWhenOthersWait) {
  other_.run("begin immediate");
  SqlFenceLimits limits = for_anything(kAmple);
  std::atomic<bool> others_wait = false;
  limits.others_wait = [&] { return others_wait.load(); };
  std::thread comes_later([&] {
    std::this_thread::sleep_for(200ms);
    others_wait = true;
  });
  EXPECT_LT(time_until_failure(limits, "insert into sheet (uid) values ('third')"), 10s);
  comes_later.join();
  EXPECT_TRUE(gave_way_);
}

TEST_F(Locks, ThatAreLetGoInTimeDoNoHarm) {
  other_.run("begin immediate");
  std::thread lets_go([&] {
    std::this_thread::sleep_for(200ms);
    other_.run("commit");
  });
  PlainDoor door(file());
  EXPECT_EQ(verdict(door, "insert into sheet (uid) values ('third')", for_anything(kAmple)), "");
  lets_go.join();
  EXPECT_EQ(sheets(), "3");
}

}  // namespace
}  // namespace korvane::host
