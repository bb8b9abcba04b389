// Queries of a server find the views with names.

#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/plain_sqlite.h"
#include "tests/tools/korvane/served_folder.h"

namespace korvane {
namespace {

using testing::HasSubstr;

class ServedViews : public testing::Test {
 protected:
  ServedViews() {
    EXPECT_EQ(run("import " KORVANE_EXAMPLES "/guideline.abs --project a.db").exit_code, 0);
  }

  test::Outcome run(const std::string& arguments) {
    return test::run_program(output_, arguments + " --server " + server_.url());
  }
  test::Outcome query(const std::string& sql, const std::string& options = "") {
    std::ofstream(output_.file("sql")) << sql;
    return run("query a.db - --format ndjson " + options + " <" + output_.file("sql"));
  }
  void run_plainly(const std::string& sql) {
    test::PlainConnection(server_.file("a.db"), test::PlainConnection::Mode::kWrite).run(sql);
  }

  test::ServedFolder server_;
  test::TemporaryFolder output_;
};

TEST_F(ServedViews, AreThereForEachQuery) {
  for (int i = 0; i < 3; ++i) {
    const test::Outcome found = query("select sheet, label, steel from bars where id = 1");
    EXPECT_EQ(found.out, "{\"sheet\":\"417\",\"label\":\"1\",\"steel\":\"B500A\"}\n") << found.err;
  }
  for (const std::string view :
       {"BARS", "fabrics", "bar_spacers", "mounting_parts", "sheets", "revisions"}) {
    const test::Outcome found = query("select count(*) > -1 as n from " + view);
    EXPECT_EQ(found.exit_code, 0) << found.err;
  }
}

TEST_F(ServedViews, HaveNoColumnThatTheStoreCannotGive) {
  for (const std::string view :
       {"bars", "fabrics", "bar_spacers", "mounting_parts", "sheets", "revisions"}) {
    const test::Outcome found = query("select * from " + view);
    EXPECT_EQ(found.exit_code, 0) << found.err;
  }
}

TEST_F(ServedViews, HaveTheirFunctions) {
  const test::Outcome found = query(
      "select json_extract(korvane_json('Rebar', raw), '$.mark') as mark from rebar "
      "where id = 1");
  EXPECT_EQ(found.out, "{\"mark\":\"1\"}\n") << found.err;
}

TEST_F(ServedViews, CanBeListed) {
  EXPECT_THAT(query("select name from sqlite_temp_master where type = 'view'").out,
              HasSubstr("\"mounting_parts\""));
  EXPECT_THAT(query("select name from pragma_table_info('bars')").out, HasSubstr("\"legs\""));
}

TEST_F(ServedViews, GiveWayToATableOfTheFile) {
  EXPECT_EQ(query("select count(*) as n from revisions").out, "{\"n\":\"2\"}\n");
  run_plainly("create table revisions (a); insert into revisions values (7)");
  EXPECT_EQ(query("select count(*) as n from revisions").out, "{\"n\":\"1\"}\n");
  EXPECT_EQ(query("select count(*) as n from bars").out, "{\"n\":\"16\"}\n");
  run_plainly("drop table revisions");
  EXPECT_EQ(query("select count(*) as n from revisions").out, "{\"n\":\"2\"}\n");
}

TEST_F(ServedViews, OpenNoWayOutOfTheFence) {
  for (const std::string sql :
       {"delete from bars", "drop view bars", "select korvane_make_views()",
        "select korvane_drop_views() from bars", "create view v as select 1 from bars"}) {
    EXPECT_EQ(query(sql).exit_code, 1) << sql;
  }
  EXPECT_EQ(query("select count(*) as n from bars").out, "{\"n\":\"16\"}\n");
}

TEST_F(ServedViews, AreNotLeftBehindForWhoWritesSql) {
  EXPECT_EQ(query("create table bars (a)", "--write").exit_code, 0);
  EXPECT_EQ(query("insert into bars values (1)", "--write").exit_code, 0);
  EXPECT_EQ(test::plain_rows(server_.file("a.db"), "select a from bars"), (test::Rows{{"1"}}));
}

TEST_F(ServedViews, DoNotKeepFilesFromBeingRefusedAsBefore) {
  std::ofstream(server_.file("text.db")) << "this is not a database, but a text of some length";
  EXPECT_THAT(run("query text.db 'select 1 from bars'").err, HasSubstr("not a"));
  std::ofstream(server_.file("empty.db"));
  EXPECT_EQ(run("query empty.db 'select 1'").exit_code, 0);
  EXPECT_THAT(run("query empty.db 'select count(*) from bars'").err, HasSubstr("no such table"));
}

}  // namespace
}  // namespace korvane
