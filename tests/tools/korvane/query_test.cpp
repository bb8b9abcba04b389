// SQL over a project on the command line.

#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/plain_sqlite.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/text_of.h"
#include "tests/tools/korvane/program.h"
#include "tests/tools/korvane/served_folder.h"

namespace korvane {
namespace {

using nlohmann::json;
using test::Outcome;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kRefusal =
    "korvane: this SQL does more than read, which a query may only with --write\n";

class Query : public testing::Test {
 protected:
  Query() {
    const Outcome imported =
        run("import " KORVANE_EXAMPLES "/guideline.abs --project " + project());
    EXPECT_EQ(imported.exit_code, 0) << imported.err;
  }

  Outcome run(const std::string& arguments) {
    return test::run_program(output_, arguments, "COLUMNS=80");
  }
  /// `sql` comes from the standard input, so that the shell leaves it alone.
  Outcome query(const std::string& sql, const std::string& options = "") {
    std::ofstream(output_.file("sql")) << sql;
    return run("query " + project() + " - " + options + " <" + output_.file("sql"));
  }
  std::string project() const { return folder_.file("a.db"); }

  std::set<std::string> files() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
      names.insert(entry.path().filename());
    }
    return names;
  }

  test::TemporaryFolder folder_;
  test::TemporaryFolder output_;
};

TEST_F(Query, LetsNoStatementPutItsOwnCodeInThePlaceOfSqlites) {
  test::PlainConnection(project(), test::PlainConnection::Mode::kWrite)
      .run("create virtual table words using fts4 (a, tokenize=porter)");
  const std::string sql =
      "select * from (select fts3_tokenizer('porter', x'4141414141414141')), "
      "pragma_table_info('words')";
  for (const char* const options : {"", "--write"}) {
    const Outcome outcome = query(sql, options);
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_THAT(outcome.err, StartsWith("korvane: "));
  }
  EXPECT_THAT(query("select optimize(words) from words").err,
              HasSubstr("not authorized to use function: optimize"));
}

TEST_F(Query, DoesNotWaitForAPipe) {
  ASSERT_EQ(::mkfifo(folder_.file("pipe").c_str(), 0600), 0);
  EXPECT_EQ(run("query " + folder_.file("pipe") + " 'select 1'").err,
            "korvane: \"" + folder_.file("pipe") + "\" is not a file\n");
}

TEST_F(Query, PrintsNamesAsATable) {
  const Outcome found =
      run("query " + project() +
          " \"select sheet, revision, label, steel, total_bars from bars limit 2\"");
  EXPECT_EQ(found.exit_code, 0);
  EXPECT_EQ(found.out,
            "sheet  revision  label  steel  total_bars\n"
            "-----  --------  -----  -----  ----------\n"
            "417    a         1      B500A          10\n"
            "417    a         1      B500A          10\n");
  EXPECT_EQ(found.err, "");
}

TEST_F(Query, PrintsEveryKindOfValueInEveryFormat) {
  const std::string sql =
      "select 1 as i, 0.1 as d, 'a\"b' as t, x'00FF' as b, null as n, 9007199254740993 as l";
  EXPECT_EQ(query(sql, "--format csv").out,
            "i,d,t,b,n,l\r\n1,0.1,\"a\"\"b\",AP8=,,9007199254740993\r\n");
  const std::string object =
      R"({"i":1,"d":0.1,"t":"a\"b","b":"AP8=","n":null,"l":9007199254740993})";
  EXPECT_EQ(query(sql, "--format json").out, "[\n" + object + "\n]\n");
  EXPECT_EQ(query(sql, "--format ndjson").out, object + "\n");
  EXPECT_THAT(query(sql).out, HasSubstr("NULL"));
}

TEST_F(Query, TellsApartColumnsOfOneName) {
  EXPECT_EQ(query("select 1 as a, 2 as a, 3 as a_2", "--format ndjson").out,
            "{\"a\":1,\"a_2\":2,\"a_2_2\":3}\n");
}

TEST_F(Query, WithoutRowsPrintsTheColumns) {
  EXPECT_EQ(query("select 1 as a where 0", "--format csv").out, "a\r\n");
  EXPECT_EQ(query("select 1 as a where 0", "--format json").out, "[]\n");
  EXPECT_EQ(query("select 1 as a where 0", "--format ndjson").out, "");
  EXPECT_EQ(query("select 1 as a where 0").err, "no rows\n");
  EXPECT_EQ(query("select 1 as a where 0", "--quiet").err, "");
}

TEST_F(Query, PrintsMoreRowsThanItHolds) {
  const Outcome found = query(
      "with recursive c(x) as (select 1 union all select x + 1 from c limit 5001) select x from c",
      "--format csv");
  EXPECT_EQ(std::count(found.out.begin(), found.out.end(), '\n'), 5002);
  EXPECT_THAT(found.out, StartsWith("x\r\n1\r\n2\r\n"));
}

TEST_F(Query, KnowsTheFunctions) {
  const Outcome found =
      query("select korvane_json('Sheet', raw) ->> 'name' as name from sheet", "--format ndjson");
  EXPECT_EQ(found.out, "{\"name\":\"417\"}\n");
}

TEST_F(Query, ReadsWhatSqliteTellsOfItself) {
  for (const char* const sql :
       {"pragma table_info(sheet)", "pragma journal_mode", "pragma integrity_check",
        "select * from pragma_table_info('sheet')", "select * from json_each('[1]')",
        "explain query plan select * from bars"}) {
    EXPECT_EQ(query(sql).exit_code, 0) << sql;
  }
}

// What a query without --write cannot do, each way by itself.

class RefusedSql : public Query, public testing::WithParamInterface<const char*> {};

TEST_P(RefusedSql, ChangesNothing) {
  const std::string before = test::text_of(project());
  const auto files_before = files();
  std::string sql = GetParam();
  const std::size_t place = sql.find("NEW");
  if (place != std::string::npos) sql.replace(place, 3, folder_.file("new.db"));
  const Outcome refused = query(sql);
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(refused.err, kRefusal);
  EXPECT_EQ(refused.out, "");
  EXPECT_EQ(test::text_of(project()), before);
  EXPECT_EQ(files(), files_before);
}

INSTANTIATE_TEST_SUITE_P(
    Ways, RefusedSql,
    testing::Values("delete from rebar", "update sheet set uid = 'x'",
                    "insert into sheet (uid) values ('x')", "replace into sheet (uid) values ('x')",
                    "with d as (select 1) delete from sheet", "delete from sheet returning id",
                    "create table t (a)", "create temp table t (a)", "create view v as select 1",
                    "create index i on sheet (uid)", "create virtual table t using fts5(a)",
                    "create trigger t after delete on sheet begin select 1; end",
                    "drop table sheet", "drop view bars", "alter table sheet add column a",
                    "attach 'NEW' as n", "detach temp", "vacuum", "vacuum into 'NEW'", "begin",
                    "begin exclusive", "savepoint s", "rollback", "analyze", "reindex",
                    "pragma journal_mode = wal", "pragma journal_mode(off)",
                    "pragma user_version = 7", "pragma application_id = 7", "pragma query_only = 0",
                    "pragma writable_schema = 1", "pragma optimize", "pragma wal_checkpoint",
                    "pragma incremental_vacuum", "pragma temp_store_directory = '/'",
                    "pragma foreign_keys = 0", "explain delete from sheet"));

TEST_F(Query, CannotWriteTheSchemaItself) {
  const Outcome refused = query("update sqlite_master set sql = ''");
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(refused.err, "korvane: table sqlite_master may not be modified\n");
}

TEST_F(Query, CannotLoadALibraryOrMakeViews) {
  EXPECT_THAT(query("select load_extension('x')").err, HasSubstr("not authorized"));
  EXPECT_THAT(query("select korvane_views('main')").err, HasSubstr("not authorized"));
  EXPECT_THAT(query("select writefile('a', 'b')").err, HasSubstr("no such function: writefile"));
}

TEST_F(Query, OfAViewOfTheFileRunsNothingThatReachesFurther) {
  test::PlainConnection(project(), test::PlainConnection::Mode::kWrite)
      .run("create view trap as select korvane_views('main')");
  EXPECT_THAT(query("select * from trap").err, HasSubstr("unsafe use of korvane_views()"));
  EXPECT_THAT(query("select * from trap", "--write").err,
              HasSubstr("unsafe use of korvane_views()"));
}

TEST_F(Query, LeavesNoFileBesideOneInWriteAheadMode) {
  test::PlainConnection(project(), test::PlainConnection::Mode::kWrite)
      .run("pragma journal_mode = wal");
  const std::string before = test::text_of(project());
  EXPECT_THAT(query("select count(*) from bars").out, HasSubstr("16"));
  EXPECT_EQ(query("delete from rebar").err, kRefusal);
  EXPECT_EQ(files(), std::set<std::string>{"a.db"});
  EXPECT_EQ(test::text_of(project()), before);
}

TEST_F(Query, ReadsAFileInWriteAheadModeBesideItsWriter) {
  test::PlainConnection writer(project(), test::PlainConnection::Mode::kWrite);
  writer.run("pragma journal_mode = wal");
  writer.run("update rebar set mark = 'new'");
  EXPECT_THAT(query("select distinct mark from bars", "--format csv").out,
              HasSubstr("mark\r\nnew\r\n"));
  EXPECT_EQ(writer.rows("pragma wal_checkpoint")[0][0], "0");
}

TEST_F(Query, WritesWithTheFlag) {
  const Outcome changed = query("update rebar set comment = 'x' where id < 3", "--write");
  EXPECT_EQ(changed.exit_code, 0);
  EXPECT_EQ(changed.out, "");
  EXPECT_EQ(changed.err, "2 rows changed\n");
  EXPECT_EQ(test::plain_rows(project(), "select count(*) from rebar where comment = 'x'"),
            (test::Rows{{"2"}}));
  EXPECT_EQ(query("delete from rebar where 0", "--write").err, "0 rows changed\n");
  EXPECT_EQ(query("delete from rebar where 0", "--write --quiet").err, "");
}

TEST_F(Query, PrintsWhatAWriteReturns) {
  const Outcome changed =
      query("update rebar set comment = 'x' where id = 1 returning id", "--write --format ndjson");
  EXPECT_EQ(changed.out, "{\"id\":1}\n");
  EXPECT_EQ(changed.err, "1 row changed\n");
}

TEST_F(Query, WritesWithForeignKeysAsTheStoreDoes) {
  EXPECT_THAT(query("delete from material", "--write").err, HasSubstr("constraint failed"));
  EXPECT_EQ(query("delete from sheet", "--write").exit_code, 0);
  EXPECT_EQ(test::plain_rows(project(), "select count(*) from rebar"), (test::Rows{{"0"}}));
}

TEST_F(Query, SaysWhereTheFaultIs) {
  EXPECT_EQ(query("select nam from bars").err, "korvane: no such column: nam (line 1, column 8)\n");
  EXPECT_EQ(query("-- a comment\nselect *\n  form bars").err,
            "korvane: near \"form\": syntax error (line 3, column 3)\n");
  EXPECT_EQ(query("select 1").exit_code, 0);
  EXPECT_EQ(query("select nam from bars").exit_code, 1);
}

TEST_F(Query, TakesOneStatement) {
  EXPECT_EQ(query("select 1; select 2").err,
            "korvane: the SQL has more than one statement: give them one by one\n");
  EXPECT_EQ(query("select 1; nonsense").err,
            "korvane: the SQL has more than one statement: give them one by one\n");
  EXPECT_EQ(query("delete from rebar; select 1", "--write").exit_code, 1);
  EXPECT_EQ(test::plain_rows(project(), "select count(*) from rebar"), (test::Rows{{"16"}}));
  EXPECT_EQ(query(" -- first\nselect 1; -- last\n;").exit_code, 0);
  for (const char* const nothing : {"", " ", ";", "-- a comment"}) {
    EXPECT_EQ(query(nothing).err, "korvane: no SQL was given\n");
  }
  EXPECT_EQ(query("select :a").err,
            "korvane: the SQL has a parameter, which has no value here: :a\n");
  EXPECT_EQ(query(std::string("select 1\0", 9)).err, "korvane: the SQL has a zero byte in it\n");
}

TEST_F(Query, NeedsAProject) {
  const std::string missing = folder_.file("missing.db");
  const Outcome found = run("query " + missing + " 'select 1' --write");
  EXPECT_EQ(found.exit_code, 1);
  EXPECT_EQ(found.err, "korvane: no project " + missing + "\n");
  EXPECT_FALSE(std::filesystem::exists(missing));

  const std::string text = folder_.file("text");
  std::ofstream(text) << std::string(4096, 'x');
  EXPECT_EQ(run("query " + text + " 'select 1'").err,
            "korvane: \"" + text + "\" is not a korvane project: it is not a database\n");

  const std::string other = folder_.file("other.db");
  std::ofstream(other).close();
  test::PlainConnection(other, test::PlainConnection::Mode::kWrite).run("create table t (a)");
  EXPECT_EQ(run("query " + other + " 'select 1'").err,
            "korvane: \"" + other + "\" is not a korvane project: no such table: project\n");
}

TEST_F(Query, IsWrongUsageWithoutSql) { EXPECT_EQ(run("query " + project()).exit_code, 2); }

TEST_F(Query, EndsWhenItIsInterrupted) {
  std::ofstream(output_.file("sql"))
      << "with recursive c(x) as (select 1 union all select x + 1 from c) select count(*) from c";
  const Outcome ended =
      test::run_program(output_, "query " + project() + " - <" + output_.file("sql"),
                        "timeout --foreground --signal=INT 1");
  EXPECT_EQ(ended.exit_code, 124);  // the limit was reached, and the program ended by itself
  EXPECT_EQ(ended.err, "korvane: interrupted\n");
}

TEST(QueryOnAServer, ReadsTheTablesAndViews) {
  test::ServedFolder server;
  const test::TemporaryFolder output;
  const auto run = [&](const std::string& arguments) {
    return test::run_program(output, arguments + " --server " + server.url());
  };
  ASSERT_EQ(run("import " KORVANE_EXAMPLES "/guideline.abs --project a.db").exit_code, 0);
  const Outcome found =
      run("query a.db 'select mark, total_bars from rebar limit 1' --format ndjson");
  EXPECT_EQ(found.out, "{\"mark\":\"1\",\"total_bars\":10}\n") << found.err;
  EXPECT_EQ(run("query a.db 'select sheet, label from bars limit 1' --format ndjson").out,
            "{\"sheet\":\"417\",\"label\":\"1\"}\n");
  EXPECT_THAT(run("query a.db 'select korvane_json(1, raw) from rebar'").err,
              HasSubstr("unknown contract '1'"));
  EXPECT_EQ(run("query a.db 'delete from rebar'").err, kRefusal);
  EXPECT_THAT(run("query a.db 'select nam from rebar'").err, HasSubstr("(line 1, column 8)"));
  EXPECT_THAT(run("query b.db 'select 1'").err, HasSubstr("no project b.db"));
}

}  // namespace
}  // namespace korvane
