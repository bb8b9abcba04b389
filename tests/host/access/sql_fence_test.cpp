#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "tests/host/access/fenced_project.h"

namespace korvane::host {
namespace {

using testing::Contains;

const std::string kRefused = "a fenced query may only read: ";
std::string refused(const std::string& action) { return kRefused + action + " is refused"; }

/// A statement, with what has to be there before.
struct Case {
  std::string test_name;
  std::string sql;
  /// Empty for what is allowed.
  std::string verdict;
  std::string before{};
  /// The action that the statement is the example of.
  int action = 0;
};
void PrintTo(const Case& sample, std::ostream* out) { *out << sample.sql; }

/// An example of each action that SQLite asks an authorizer about.
std::vector<Case> actions() {
  const std::string schema = refused("changing the schema");
  const std::string temporary = "create temp table t (a)";
  const std::string attached = "attach ':memory:' as other";
  return {
      {"CreateIndex", "create index i on sheet (raw)", schema, "", SQLITE_CREATE_INDEX},
      {"CreateTable", "create table t (a)", schema, "", SQLITE_CREATE_TABLE},
      {"CreateTempIndex", "create index temp.i on t (a)", schema, temporary,
       SQLITE_CREATE_TEMP_INDEX},
      {"CreateTempTable", temporary, schema, "", SQLITE_CREATE_TEMP_TABLE},
      {"CreateTempTrigger", "create temp trigger g after insert on sheet begin select 1; end",
       schema, "", SQLITE_CREATE_TEMP_TRIGGER},
      {"CreateTempView", "create temp view v as select 1", schema, "", SQLITE_CREATE_TEMP_VIEW},
      {"CreateTrigger", "create trigger g after insert on sheet begin select 1; end", schema, "",
       SQLITE_CREATE_TRIGGER},
      {"CreateView", "create view v as select 1", schema, "", SQLITE_CREATE_VIEW},
      {"Delete", "delete from sheet", refused("delete"), "", SQLITE_DELETE},
      {"DropIndex", "drop index i", schema, "create index i on sheet (raw)", SQLITE_DROP_INDEX},
      {"DropTable", "drop table sheet", schema, "", SQLITE_DROP_TABLE},
      {"DropTempIndex", "drop index temp.i", schema, temporary + "; create index temp.i on t (a)",
       SQLITE_DROP_TEMP_INDEX},
      {"DropTempTable", "drop table t", schema, temporary, SQLITE_DROP_TEMP_TABLE},
      {"DropTempTrigger", "drop trigger g", schema,
       "create temp trigger g after insert on sheet begin select 1; end", SQLITE_DROP_TEMP_TRIGGER},
      {"DropTempView", "drop view v", schema, "create temp view v as select 1",
       SQLITE_DROP_TEMP_VIEW},
      {"DropTrigger", "drop trigger g", schema,
       "create trigger g after insert on sheet begin select 1; end", SQLITE_DROP_TRIGGER},
      {"DropView", "drop view v", schema, "create view v as select 1", SQLITE_DROP_VIEW},
      {"Insert", "insert into sheet (uid) values ('third')", refused("insert"), "", SQLITE_INSERT},
      {"Pragma", "pragma user_version = 7", refused("pragma"), "", SQLITE_PRAGMA},
      {"Read", "select uid from sheet", "", "", SQLITE_READ},
      {"Select", "select 1", "", "", SQLITE_SELECT},
      {"Transaction", "begin", refused("begin, commit or rollback"), "", SQLITE_TRANSACTION},
      {"Update", "update sheet set uid = 'changed' where id = 1", refused("update"), "",
       SQLITE_UPDATE},
      {"Attach", "attach 'attached.db' as other", refused("attach"), "", SQLITE_ATTACH},
      {"Detach", "detach other", refused("detach"), attached, SQLITE_DETACH},
      {"AlterTable", "alter table sheet add column extra", schema, "", SQLITE_ALTER_TABLE},
      {"Reindex", "reindex", refused("reindex"), "", SQLITE_REINDEX},
      {"Analyze", "analyze", schema, "", SQLITE_ANALYZE},
      {"CreateVirtualTable", "create virtual table f using fts5 (a)", schema, "",
       SQLITE_CREATE_VTABLE},
      {"DropVirtualTable", "drop table f", schema, "create virtual table f using fts5 (a)",
       SQLITE_DROP_VTABLE},
      {"Function", "select load_extension('x')", refused("calling load_extension"), "",
       SQLITE_FUNCTION},
      {"Savepoint", "savepoint s", refused("savepoint"), "", SQLITE_SAVEPOINT},
      {"Recursive",
       "with recursive n (i) as (select 1 union all select i + 1 from n where i < 9) "
       "select i from n",
       "", "", SQLITE_RECURSIVE},
  };
}

/// What else a client might try.
std::vector<Case> attempts() {
  const std::string schema = refused("changing the schema");
  const std::string transaction = refused("begin, commit or rollback");
  return {
      {"InsertReturning", "insert into sheet (uid) values ('third') returning id",
       refused("insert")},
      {"InsertOfSelect", "insert into sheet (uid) select 'third'", refused("insert")},
      {"InsertOrReplace", "insert or replace into sheet (id) values (1)", refused("insert")},
      {"Replace", "replace into sheet (id) values (1)", refused("insert")},
      {"Upsert",
       "insert into sheet (id, uid) values (1, 'x') on conflict (id) do update set uid = 'x'",
       refused("insert")},
      {"InsertOfDefaults", "insert into sheet default values", refused("insert")},
      {"WithDelete", "with a as (select 1) delete from sheet", refused("delete")},
      {"WithUpdate", "with a as (select 1) update sheet set uid = 'x'", refused("update")},
      {"WithInsert", "with a as (select 1) insert into sheet (id) select * from a",
       refused("insert")},
      {"DeleteReturning", "delete from sheet returning id", refused("delete")},
      {"UpdateFrom", "update sheet set uid = r.uid from revision r", refused("update")},
      {"ExplainDelete", "explain delete from sheet", refused("delete")},
      {"ExplainQueryPlanDelete", "explain query plan delete from sheet", refused("delete")},
      {"BehindASelect", "select 1; delete from sheet", refused("delete")},
      {"BehindAComment", "/* select */ delete from sheet -- select", refused("delete")},
      {"InCapitals", "DELETE FROM SHEET", refused("delete")},
      {"DeleteOfSequence", "delete from sqlite_sequence", refused("delete")},
      {"CreateTableAsSelect", "create table t as select * from sheet", schema},
      {"CreateTempTableAsSelect", "create temp table t as select * from sheet", schema},
      {"CreateTableIfNotExists", "create table if not exists t (a)", schema},
      {"CreateVirtualTempTable", "create virtual table temp.f using fts5 (a)", schema},
      {"AlterTableRename", "alter table sheet rename to other", schema},
      {"AlterTableRenameColumn", "alter table sheet rename column uid to other", schema},
      {"AlterTableDropColumn", "alter table sheet drop column raw", schema},
      {"Vacuum", "vacuum", refused("running a statement that writes")},
      {"VacuumInto", "vacuum into 'copy.db'", refused("running a statement that writes")},
      {"AttachMemory", "attach ':memory:' as other", refused("attach")},
      {"AttachUri", "attach 'file:attached.db?mode=rwc' as other", refused("attach")},
      {"AttachOfExpression", "attach 'attached' || '.db' as other", refused("attach")},
      {"BeginImmediate", "begin immediate", transaction},
      {"BeginExclusive", "begin exclusive", transaction},
      {"Commit", "commit", transaction},
      {"End", "end transaction", transaction},
      {"Rollback", "rollback", transaction},
      {"RollbackTo", "rollback to s", refused("savepoint"), "savepoint s"},
      {"Release", "release s", refused("savepoint"), "savepoint s"},
      {"ReindexTable", "reindex sheet", refused("reindex")},
      {"AnalyzeTable", "analyze sheet", schema},
      {"PragmaThatReads", "pragma user_version", refused("pragma")},
      {"PragmaJournal", "pragma journal_mode = wal", refused("pragma")},
      {"PragmaWritableSchema", "pragma writable_schema = on", refused("pragma")},
      {"PragmaForeignKeys", "pragma foreign_keys = off", refused("pragma")},
      {"PragmaTableInfo", "pragma table_info (sheet)", refused("pragma")},
      {"PragmaUnknown", "pragma nothing_known", refused("pragma")},
      {"PragmaFunction", "select name from pragma_table_info('sheet')", refused("pragma")},
      {"PragmaFunctionOfVersion", "select user_version from pragma_user_version",
       refused("pragma")},
      {"LoadExtensionOfEntry", "select load_extension('x', 'y')",
       refused("calling load_extension")},
      {"LoadExtensionInWhere", "select id from sheet where load_extension('x')",
       refused("calling load_extension")},
      {"LoadExtensionInCapitals", "select LOAD_EXTENSION('x')", refused("calling load_extension")},
      {"Tokenizer", "select fts3_tokenizer('simple')", refused("calling fts3_tokenizer")},
      {"ErrorLog", "select sqlite_log(1, 'x')", refused("calling sqlite_log")},
      {"CheckOfIndex", "select rtreecheck('sheet')", refused("calling rtreecheck")},
      {"JsonPatch", "select json_patch('{}', '{}')", refused("calling json_patch")},
  };
}

std::vector<Case> readings() {
  const auto allowed = [](std::string name, std::string sql, std::string before = "") {
    return Case{std::move(name), std::move(sql), "", std::move(before)};
  };
  return {
      allowed("Columns", "select id, uid, raw from sheet where id > 0 order by uid limit 1"),
      allowed("Catalogue", "select name, sql from sqlite_master"),
      allowed("CatalogueByItsOtherName", "select name from sqlite_schema"),
      allowed("TemporaryCatalogue", "select name from sqlite_temp_master"),
      allowed("Join", "select s.uid from sheet s left join revision r on r.sheet_id = s.id"),
      allowed("Subselect", "select uid from sheet where id in (select max(id) from sheet)"),
      allowed("Group", "select uid, count(*) from sheet group by uid having count(*) > 0"),
      allowed("Aggregates",
              "select count(*), sum(id), total(id), avg(id), min(id), max(id), "
              "group_concat(uid, ';') from sheet"),
      allowed("Window", "select row_number() over (order by id) as n from sheet"),
      allowed("WithAndUnion", "with a as (select 1 as i) select i from a union select 2"),
      allowed("Values", "values (1, 2)"),
      allowed("View", "select uid from v", "create view v as select uid from sheet"),
      allowed("Scalars",
              "select abs(-1), coalesce(null, 1), hex('a'), ifnull(1, 2), instr('abc', 'b'), "
              "length('a'), lower('A'), upper('a'), printf('%05d', 1), quote('a'), "
              "replace('a', 'a', 'b'), round(1.5), substr('abc', 2), trim(' a ', ' '), typeof(1), "
              "unicode('a'), "
              "zeroblob(10), random(), iif(1, 2, 3), nullif(1, 2), sqlite_version()"),
      allowed("Dates", "select date('now'), strftime('%s', 'now'), current_timestamp"),
      allowed("Mathematics", "select sqrt(2), pi(), floor(1.5), pow(2, 3)"),
      allowed("Patterns", "select uid from sheet where uid like 'f%' or uid glob 's*'"),
      allowed("Json", "select json_extract('{\"a\": 1}', '$.a') as a"),
      allowed("JsonTable", "select key from json_each('[1, 2]')"),
      allowed("JsonTree", "select t.fullkey as k from json_tree('[[1], 2]') t"),
      allowed("JsonOfColumn", "select s.id from sheet s, json_each('[' || s.id || ']') j"),
      allowed("TemporaryTable", "select a from t", "create temp table t (a)"),
      allowed("ExplainOfSelect", "explain select uid from sheet"),
      allowed("QueryPlan", "explain query plan select uid from sheet order by uid"),
      allowed("TwoSelects", "select id from sheet; select id from sheet"),
  };
}

class Statements : public Fenced, public testing::WithParamInterface<std::tuple<Case, DoorKind>> {
 protected:
  const Case& sample() const { return std::get<Case>(GetParam()); }
  std::unique_ptr<Door> door() const { return std::get<DoorKind>(GetParam()).make(file()); }
};

using StatementsInTheFence = Statements;

TEST_P(StatementsInTheFence, OnlyReadAndLeaveEveryByteAsItWas) {
  const auto opened = door();
  if (!sample().before.empty()) opened->run(sample().before);
  const auto before = contents();
  EXPECT_EQ(verdict(*opened, sample().sql), sample().verdict);
  EXPECT_EQ(contents(), before);
}

TEST_P(StatementsInTheFence, RunOnceTheFenceHasGone) {
  const auto opened = door();
  if (!sample().before.empty()) opened->run(sample().before);
  verdict(*opened, sample().sql);
  opened->run("insert into sheet (uid) values ('after')");
}

std::string name_of(const testing::TestParamInfo<std::tuple<Case, DoorKind>>& entry) {
  return std::get<Case>(entry.param).test_name + std::get<DoorKind>(entry.param).name;
}
INSTANTIATE_TEST_SUITE_P(Actions, StatementsInTheFence,
                         testing::Combine(testing::ValuesIn(actions()), kDoors), name_of);
INSTANTIATE_TEST_SUITE_P(Attempts, StatementsInTheFence,
                         testing::Combine(testing::ValuesIn(attempts()), kDoors), name_of);
INSTANTIATE_TEST_SUITE_P(Readings, StatementsInTheFence,
                         testing::Combine(testing::ValuesIn(readings()), kDoors), name_of);

/// A connection as SQLite's own interface gives it, for what PlainConnection does not show.
class RawConnection {
 public:
  explicit RawConnection(const std::string& file) {
    if (sqlite3_open(file.c_str(), &connection_) != SQLITE_OK) throw std::runtime_error(file);
  }
  RawConnection(const RawConnection&) = delete;
  RawConnection& operator=(const RawConnection&) = delete;
  ~RawConnection() { close(); }

  void close() { sqlite3_close_v2(std::exchange(connection_, nullptr)); }
  sqlite3* get() const { return connection_; }
  int run(const std::string& sql) const {
    return sqlite3_exec(connection_, sql.c_str(), nullptr, nullptr, nullptr);
  }
  sqlite3_stmt* prepare(const std::string& sql) const {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(connection_, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
      throw std::runtime_error(sqlite3_errmsg(connection_));
    }
    return statement;
  }

 private:
  sqlite3* connection_ = nullptr;
};

class SqlActions : public Fenced {};

TEST_F(SqlActions, AllHaveAnExampleThatSqliteAsksAboutAsSuch) {
  std::set<int> codes;
  for (const Case& sample : actions()) {
    SCOPED_TRACE(sample.test_name);
    std::filesystem::remove(file() + "-copy");
    std::filesystem::copy(file(), file() + "-copy");
    const RawConnection connection(file() + "-copy");
    ASSERT_EQ(connection.run(sample.before), SQLITE_OK);
    std::set<int> asked;
    const auto collect = [](void* set, int action, const char*, const char*, const char*,
                            const char*) {
      static_cast<std::set<int>*>(set)->insert(action);
      // What stands behind must not be done, only begun.
      return action == SQLITE_ATTACH ? SQLITE_DENY : SQLITE_OK;
    };
    sqlite3_set_authorizer(connection.get(), collect, &asked);
    connection.run(sample.sql);
    EXPECT_THAT(asked, Contains(sample.action));
    codes.insert(sample.action);
  }
  std::set<int> all;
  for (int action = SQLITE_CREATE_INDEX; action <= SQLITE_RECURSIVE; ++action) all.insert(action);
  EXPECT_EQ(codes, all);
}

class Limits : public Fenced, public testing::WithParamInterface<DoorKind> {
 protected:
  std::unique_ptr<Door> door() const { return GetParam().make(file()); }
};
INSTANTIATE_TEST_SUITE_P(Doors, Limits, kDoors, [](const auto& entry) { return entry.param.name; });

std::string numbers(const std::string& end) {
  return "with recursive n (i) as (select 1 union all select i + 1 from n " + end + ") ";
}

TEST_P(Limits, CutAnEndlessRecursionThatGivesNoRow) {
  const auto opened = door();
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(verdict(*opened, numbers("") + "select count(*) from n", with_time(50ms)),
            "a fenced query may take 50 ms: it was stopped");
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
}

TEST_P(Limits, CutAnEndlessRecursionThatGivesRows) {
  const auto opened = door();
  EXPECT_EQ(stop_of(*opened, numbers("") + "select i from n", with_rows(1000)),
            FenceStop::too_many_rows);
  EXPECT_EQ(stop_of(*opened, numbers("") + "select i from n", with_time(5ms)), FenceStop::too_long);
}

TEST_P(Limits, CutALongJoin) {
  const auto opened = door();
  opened->run("create table t as " + numbers("where i < 1000") + "select i from n");
  EXPECT_EQ(stop_of(*opened, "select count(*) from t a, t b, t c, t d", with_time(20ms)),
            FenceStop::too_long);
}

TEST_P(Limits, StartNothingWhenTheTimeIsOver) {
  EXPECT_EQ(stop_of(*door(), "select 1", with_time(0ms)), FenceStop::too_long);
}

TEST_P(Limits, LetAsManyRowsThroughAsTheySayAndNotOneMore) {
  const auto opened = door();
  EXPECT_EQ(verdict(*opened, numbers("where i < 10") + "select i from n", with_rows(10)), "");
  EXPECT_EQ(verdict(*opened, numbers("where i < 11") + "select i from n", with_rows(10)),
            "a fenced query may give 10 rows: it was stopped");
}

TEST_P(Limits, CountTheRowsOfAllQueriesOfAFence) {
  const auto opened = door();
  const std::string five = numbers("where i < 5") + "select i from n";
  const SqlFence fence(with_rows(10));
  opened->run(five);
  opened->run(five);
  EXPECT_ANY_THROW(opened->run("select id from sheet"));
  EXPECT_EQ(fence.stopped(), FenceStop::too_many_rows);
}

TEST_P(Limits, CountAnewInEachFence) {
  const auto opened = door();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(verdict(*opened, numbers("where i < 10") + "select i from n", with_rows(10)), "");
  }
}

TEST_P(Limits, CountAStatementOnceThatIsParsedAnewForAnotherSchema) {
  const auto opened = door();
  opened->run("select uid from sheet");
  PlainDoor(file()).run("create table other (a)");
  SqlFenceLimits limits = for_changes(kAmple);
  limits.statements = 1;
  EXPECT_EQ(verdict(*opened, "select uid from sheet", limits), "");
  PlainDoor(file()).run("drop table other");
  const SqlFence fence(limits);
  opened->run("select uid from sheet");
  EXPECT_ANY_THROW(opened->run("select id from sheet"));
  EXPECT_EQ(fence.reason(), "a call may change its project only: another statement is refused");
}

TEST_P(Limits, DoNotCountRowsThatAQueryOnlyPassesOver) {
  EXPECT_EQ(verdict(*door(), numbers("where i < 1000") + "select sum(i) from n", with_rows(1)), "");
}

TEST_P(Limits, CountTheBytesOfAllValues) {
  const auto opened = door();
  // Ten rows of 92 bytes of text and a number.
  const std::string ten =
      numbers("where i < 10") + "select substr(hex(zeroblob(46)), 1) as t, i from n";
  EXPECT_EQ(verdict(*opened, ten, with_bytes(1000)), "");
  EXPECT_EQ(verdict(*opened, ten, with_bytes(999)),
            "a fenced query may give values of 1000000 bytes each and 999 in all: it was stopped");
}

TEST_P(Limits, CountTheBytesOfBlobsAndNulls) {
  const auto opened = door();
  EXPECT_EQ(verdict(*opened, "select zeroblob(92) as b, null as n", with_bytes(100)), "");
  EXPECT_EQ(stop_of(*opened, "select zeroblob(92) as b, null as n", with_bytes(99)),
            FenceStop::too_large);
}

TEST_P(Limits, RefuseValuesThatAreTooLong) {
  const auto opened = door();
  SqlFenceLimits limits = kAmple;
  limits.length = 1000;
  const std::string a_thousand = "'" + std::string(1000, 'a') + "'";
  EXPECT_EQ(verdict(*opened, "select length(" + a_thousand + ") as n", limits), "");
  for (const std::string& value : std::vector<std::string>{
           "zeroblob(1000000000)", "randomblob(1000000000)", "hex(zeroblob(501))",
           "replace(hex(zeroblob(500)), '0', 'aaaa')", a_thousand + " || 'b'",
           "(" + numbers("where i < 1000") + "select group_concat('aaaaaaaaaa') from n)",
           "(" + numbers("where i < 1000") + "select json_group_array('aaaaaaaaaa') from n)",
           "'" + std::string(1001, 'a') + "'"}) {
    EXPECT_EQ(stop_of(*opened, "select length(coalesce(" + value + ", '')) as n", limits),
              FenceStop::too_large)
        << value;
  }
}

TEST_P(Limits, RefuseLongPatterns) {
  const auto opened = door();
  SqlFenceLimits limits = kAmple;
  limits.pattern_length = 10;
  EXPECT_EQ(verdict(*opened, "select uid like '123456789%' as b from sheet", limits), "");
  const SqlFence fence(limits);
  EXPECT_ANY_THROW(opened->run("select uid like '1234567890%' as b from sheet"));
}

TEST_P(Limits, HoldInAFenceAlone) {
  const auto opened = door();
  SqlFenceLimits limits;
  limits.rows = 10;
  limits.bytes = 1000;
  limits.length = 100;
  limits.time = 1000ms;
  verdict(*opened, "select id from sheet", limits);
  opened->run("select length(zeroblob(1000)) as n");
  opened->run(numbers("where i < 1000") + "select hex(zeroblob(40)) as t from n");
  opened->run("select uid like '%" + std::string(2000, 'a') + "' as b from sheet");
  opened->run("attach ':memory:' as other");
}

TEST_P(Limits, ThatStoppedAQueryStopNothingAfterwards) {
  const auto opened = door();
  stop_of(*opened, numbers("") + "select i from n", with_rows(5));
  opened->run("insert into sheet (uid) values ('third')");
  EXPECT_EQ(sheets(), "3");
}

TEST_P(Limits, LetTheFenceGoOnAfterARefusal) {
  const auto opened = door();
  const SqlFence fence(kAmple);
  EXPECT_ANY_THROW(opened->run("delete from sheet"));
  opened->run("select id from sheet");
  EXPECT_ANY_THROW(opened->run("update sheet set uid = 'x'"));
  EXPECT_EQ(fence.reason(), refused("delete"));
}

TEST_P(Limits, AreNotToBlameForAnErrorInTheSql) {
  const auto opened = door();
  const SqlFence fence(kAmple);
  EXPECT_ANY_THROW(opened->run("select nothing from nowhere"));
  EXPECT_EQ(fence.stopped(), std::nullopt);
  EXPECT_EQ(fence.reason(), "");
}

class Fence : public Fenced {};

TEST_F(Fence, ThatNobodyTouchesSaysNothing) {
  const SqlFence fence(kAmple);
  EXPECT_EQ(fence.stopped(), std::nullopt);
  EXPECT_EQ(fence.reason(), "");
}

TEST_F(Fence, IsOneAtATimeOnAThread) {
  const SqlFence outer(kAmple);
  EXPECT_THROW(SqlFence{kAmple}, std::logic_error);
  PlainDoor door(file());
  EXPECT_ANY_THROW(door.run("delete from sheet"));
  EXPECT_EQ(outer.stopped(), FenceStop::refused);
}

TEST_F(Fence, MayBeMadeOnTwoThreadsAtOnce) {
  const SqlFence here(kAmple);
  std::optional<FenceStop> there;
  std::thread([&] {
    PlainDoor door(file());
    there = stop_of(door, "delete from sheet", kAmple);
  }).join();
  EXPECT_EQ(there, FenceStop::refused);
  EXPECT_EQ(here.stopped(), std::nullopt);
}

TEST_F(Fence, LeavesOtherThreadsAlone) {
  PlainDoor door(file());
  const SqlFence fence(with_rows(1));
  door.run("select 1");
  std::thread([&] {
    PlainDoor other(file());
    other.run("insert into sheet (uid) values ('third')");
    other.run("select id from sheet");
  }).join();
  EXPECT_EQ(fence.stopped(), std::nullopt);
}

TEST_F(Fence, LeavesItsConnectionsToOtherThreadsAfterwards) {
  PlainDoor door(file());
  verdict(door, "select 1");
  std::thread([&] { door.run("insert into sheet (uid) values ('third')"); }).join();
  EXPECT_EQ(sheets(), "3");
}

TEST_F(Fence, HoldsWhileOtherThreadsComeAndGo) {
  constexpr int kRounds = 200;
  const auto reader = [&] {
    PlainDoor door(file());
    for (int i = 0; i < kRounds; ++i) {
      EXPECT_EQ(stop_of(door, "create temp table t (a)", kAmple), FenceStop::refused);
    }
  };
  const auto writer = [&] {
    PlainDoor door(file());
    for (int i = 0; i < kRounds; ++i) door.run("create temp table t (a); drop table t");
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back(reader);
    threads.emplace_back(writer);
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(Fence, HoldsOnSeveralConnectionsAtOnce) {
  PlainDoor first(file());
  PlainDoor second(file());
  {
    const SqlFence fence(with_rows(3));
    first.run("select id from sheet");
    EXPECT_ANY_THROW(second.run("select id from sheet"));
    EXPECT_EQ(fence.stopped(), FenceStop::too_many_rows);
  }
  first.run("insert into sheet (uid) values ('third')");
  second.run("insert into sheet (uid) values ('fourth')");
}

TEST_F(Fence, HoldsOnAConnectionThatIsOpenedInside) {
  // Tests set a pragma on every connection that is opened.
  const SqlFence fence(for_anything(with_rows(1)));
  PlainDoor door(file());
  EXPECT_ANY_THROW(door.run("select id from sheet"));
  EXPECT_EQ(fence.stopped(), FenceStop::too_many_rows);
}

TEST_F(Fence, SurvivesAConnectionThatIsClosedInside) {
  RawConnection connection(file());
  RawConnection other(file());
  {
    const SqlFence fence(kAmple);
    EXPECT_EQ(connection.run("select 1"), SQLITE_OK);
    EXPECT_EQ(other.run("select zeroblob(10000000)"), SQLITE_TOOBIG);
    connection.close();
    EXPECT_EQ(fence.stopped(), FenceStop::too_large);
    other.close();
    EXPECT_EQ(fence.stopped(), std::nullopt);
  }
}

TEST_F(Fence, RefusesAStatementThatWasPreparedBefore) {
  const RawConnection connection(file());
  sqlite3_stmt* const statement = connection.prepare("delete from sheet");
  {
    const SqlFence fence(kAmple);
    EXPECT_EQ(sqlite3_step(statement), SQLITE_INTERRUPT);
    EXPECT_EQ(fence.reason(), refused("running a statement that writes"));
  }
  sqlite3_finalize(statement);
  EXPECT_EQ(sheets(), "2");
}

TEST_F(Fence, LimitsAStatementThatWasPreparedBefore) {
  const RawConnection connection(file());
  sqlite3_stmt* const endless = connection.prepare(numbers("") + "select count(*) from n");
  {
    const SqlFence fence(with_time(20ms));
    EXPECT_EQ(sqlite3_step(endless), SQLITE_INTERRUPT);
    EXPECT_EQ(fence.stopped(), FenceStop::too_long);
  }
  sqlite3_finalize(endless);
}

TEST_F(Fence, LeavesNoInterruptBehindAHalfReadStatement) {
  const RawConnection connection(file());
  sqlite3_stmt* const statement = connection.prepare("select id from sheet");
  {
    const SqlFence fence(with_rows(1));
    EXPECT_EQ(sqlite3_step(statement), SQLITE_ROW);
    EXPECT_EQ(sqlite3_step(statement), SQLITE_ROW);
    EXPECT_EQ(fence.stopped(), FenceStop::too_many_rows);
  }
  EXPECT_EQ(connection.run("insert into sheet (uid) values ('third')"), SQLITE_OK);
  sqlite3_finalize(statement);
}

TEST_F(Fence, LeavesAHalfReadStatementAloneThatItDidNotInterrupt) {
  const RawConnection connection(file());
  sqlite3_stmt* const statement = connection.prepare("select id from sheet");
  {
    const SqlFence fence(kAmple);
    EXPECT_EQ(sqlite3_step(statement), SQLITE_ROW);
  }
  EXPECT_EQ(sqlite3_step(statement), SQLITE_ROW);
  EXPECT_EQ(sqlite3_column_int(statement, 0), 2);
  sqlite3_finalize(statement);
}

TEST_F(Fence, GivesEveryLimitBack) {
  const RawConnection connection(file());
  const auto limits = [&] {
    std::vector<int> values;
    for (int id = SQLITE_LIMIT_LENGTH; id <= SQLITE_LIMIT_WORKER_THREADS; ++id) {
      values.push_back(sqlite3_limit(connection.get(), id, -1));
    }
    return values;
  };
  sqlite3_limit(connection.get(), SQLITE_LIMIT_LENGTH, 12345678);
  sqlite3_limit(connection.get(), SQLITE_LIMIT_ATTACHED, 3);
  const std::vector<int> before = limits();
  {
    const SqlFence fence({});
    connection.run("select 1");
    EXPECT_NE(limits(), before);
  }
  EXPECT_EQ(limits(), before);
}

TEST_F(Fence, MayBeInstalledAgain) {
  install_sql_fence();
  PlainDoor door(file());
  EXPECT_EQ(verdict(door, "delete from sheet"), refused("delete"));
  door.run("delete from sheet");
  EXPECT_EQ(sheets(), "0");
}

// --- Fences that are not for reading alone.

using FenceForAnything = Limits;
INSTANTIATE_TEST_SUITE_P(Doors, FenceForAnything, kDoors,
                         [](const auto& entry) { return entry.param.name; });

TEST_P(FenceForAnything, RefusesNothing) {
  const auto opened = door();
  const SqlFenceLimits limits = for_anything(kAmple);
  for (const char* const sql :
       {"insert into sheet (uid) values ('third')", "create index i on sheet (raw)", "begin",
        "delete from sheet where uid = 'third'", "commit", "pragma user_version = 7",
        "attach ':memory:' as other", "detach other", "vacuum",
        "select trim(uid, 'abc') as t from sheet"}) {
    EXPECT_EQ(verdict(*opened, sql, limits), "") << sql;
  }
}

TEST_P(FenceForAnything, LimitsTheLengthOfAValueAndOfAPattern) {
  SqlFenceLimits limits = for_anything(kAmple);
  limits.length = 1000;
  limits.pattern_length = 10;
  const auto opened = door();
  EXPECT_EQ(verdict(*opened, "select zeroblob(1000) as b", limits), "");
  EXPECT_EQ(stop_of(*opened, "select zeroblob(1001) as b", limits), FenceStop::too_large);
  EXPECT_EQ(verdict(*opened, "select uid like '123456789%' as b from sheet", limits), "");
  EXPECT_ANY_THROW(verdict(*opened, "select uid like '1234567890%' as b from sheet", limits));
}

TEST_P(FenceForAnything, CutsWhatReadsWithoutEnd) {
  const auto opened = door();
  const std::string endless = numbers("") + "select count(*) from n";
  EXPECT_EQ(verdict(*opened, endless, for_anything(with_time(50ms))),
            "a call may take 50 ms: it was stopped");
  const std::string rows = numbers("") + "select i from n";
  EXPECT_EQ(verdict(*opened, rows, for_anything(with_rows(1000))),
            "a call may give 1000 rows: it was stopped");
  EXPECT_EQ(verdict(*opened, rows, for_anything(with_bytes(1000))),
            "a call may give values of 1000000 bytes each and 1000 in all: it was stopped");
}

TEST_P(FenceForAnything, CutsWhatWritesWithoutEndAndLeavesNothingOfIt) {
  const auto opened = door();
  const std::string endless = "insert into sheet (raw) " + numbers("") + "select i from n";
  EXPECT_EQ(verdict(*opened, endless, for_anything(with_time(50ms))),
            "a call may take 50 ms: it was stopped");
  EXPECT_EQ(sheets(), "2");
}

TEST_P(FenceForAnything, CompilesNothingMoreWhenTheTimeIsOver) {
  EXPECT_EQ(stop_of(*door(), "select id from sheet", for_anything(with_time(0ms))),
            FenceStop::too_long);
}

TEST_P(FenceForAnything, LetsATransactionEndWhenTheTimeIsOver) {
  const auto opened = door();
  for (const char* const end : {"commit", "rollback"}) {
    opened->run("begin; insert into sheet default values");
    const SqlFence fence(for_anything(with_time(0ms)));
    opened->run(end);
  }
  EXPECT_EQ(sheets(), "3");
}

TEST_P(FenceForAnything, LetsARollbackFollowRowsThatAreTooMany) {
  const auto opened = door();
  opened->run("begin; insert into sheet default values");
  {
    const SqlFence fence(for_anything(with_rows(1)));
    EXPECT_ANY_THROW(opened->run(numbers("") + "select i from n"));
    opened->run("rollback");
  }
  EXPECT_EQ(sheets(), "2");
}

TEST_P(FenceForAnything, TakesBackWhatWasBegunInside) {
  const auto opened = door();
  {
    SqlFence fence(for_anything(with_time(10min)));
    opened->run("begin; insert into sheet default values");
    fence.roll_back();
  }
  opened->run("begin; insert into sheet default values; commit");
  EXPECT_EQ(sheets(), "3");
}

TEST_P(FenceForAnything, LeavesATransactionThatWasOpenBefore) {
  const auto opened = door();
  opened->run("begin; insert into sheet default values");
  {
    SqlFence fence(for_anything(kAmple));
    opened->run("insert into sheet default values");
    fence.roll_back();
  }
  opened->run("commit");
  EXPECT_EQ(sheets(), "4");
}

}  // namespace
}  // namespace korvane::host
