#include "model/plugins/korvane.model.cad.project/schema.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include <Poco/Data/DataException.h>
#include <Poco/Data/SQLite/SQLiteException.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "tests/model/plugins/korvane.model.cad.project/filled_revision.h"

namespace korvane::test {

namespace {

using namespace model::cad;
using namespace Poco::Data::SQLite;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

// NOLINTBEGIN(bugprone-suspicious-missing-comma): a statement takes several lines.
const std::vector<std::string> kCreateTables = {
    "CREATE TABLE project (id INTEGER PRIMARY KEY AUTOINCREMENT,raw BLOB)",
    "CREATE TABLE material (id INTEGER PRIMARY KEY AUTOINCREMENT,uid TEXT UNIQUE,raw BLOB)",
    "CREATE TABLE sheet (id INTEGER PRIMARY KEY AUTOINCREMENT,uid TEXT UNIQUE,raw BLOB)",
    "CREATE TABLE revision (id INTEGER PRIMARY KEY AUTOINCREMENT,uid TEXT UNIQUE,"
    "sheet_id INTEGER,raw BLOB, "
    "FOREIGN KEY (sheet_id) REFERENCES sheet(id) ON UPDATE CASCADE ON DELETE CASCADE )",
    "CREATE TABLE barspacer (id INTEGER PRIMARY KEY AUTOINCREMENT,mark TEXT,rev_id INTEGER,"
    "sheet_id INTEGER,name TEXT,quantity INTEGER,weight_per_piece REAL,description TEXT,"
    "length REAL,raw BLOB)",
    "CREATE TABLE end_treatment (id INTEGER PRIMARY KEY,type TEXT,type_description TEXT,"
    "manufacturer TEXT,model TEXT,diameter REAL,comment TEXT)",
    "CREATE TABLE rebar (id INTEGER PRIMARY KEY AUTOINCREMENT,rev_id INTEGER NOT NULL,"
    "comment TEXT,member TEXT,mark TEXT,submark TEXT,mark_suffix TEXT,mark_prefix TEXT,"
    "material_id INTEGER NOT NULL,member_multiplier INTEGER,bars_per_member INTEGER,"
    "total_bars INTEGER,total_length REAL,bar_diameter REAL,standard_bend_diameter REAL,"
    "hook_bend_diameter REAL,end_treatment_start INTEGER,end_treatment_end INTEGER,"
    "shape_code TEXT,A REAL,B REAL,C REAL,D REAL,E REAL,F REAL,R REAL,A_rounded REAL,"
    "B_rounded REAL,C_rounded REAL,D_rounded REAL,E_rounded REAL,F_rounded REAL,R_rounded REAL,"
    "bartype_name TEXT,bartype_mass_per_length REAL NOT NULL,raw BLOB, "
    "FOREIGN KEY (rev_id) REFERENCES revision(id) ON UPDATE CASCADE ON DELETE CASCADE, "
    "FOREIGN KEY (end_treatment_start) REFERENCES end_treatment(id) ON UPDATE CASCADE "
    "ON DELETE  SET NULL, "
    "FOREIGN KEY (end_treatment_end) REFERENCES end_treatment(id) ON UPDATE CASCADE "
    "ON DELETE  SET NULL, "
    "FOREIGN KEY (material_id) REFERENCES material(id) ON UPDATE CASCADE ON DELETE  SET NULL )",
    "CREATE TABLE fabric_type (id INTEGER PRIMARY KEY AUTOINCREMENT,uid TEXT UNIQUE,"
    "type TEXT UNIQUE,overall_length REAL,overall_width REAL,sheet_mass REAL,description REAL,"
    "material_id INTEGER NOT NULL,is_list_fabric BOOLEAN,raw BLOB, "
    "FOREIGN KEY (material_id) REFERENCES material(id) ON UPDATE CASCADE ON DELETE  SET NULL )",
    "CREATE TABLE fabric (id INTEGER PRIMARY KEY AUTOINCREMENT,rev_id INTEGER NOT NULL,"
    "comment TEXT,member TEXT,mark TEXT,mark_suffix TEXT,mark_prefix TEXT,"
    "member_multiplier INTEGER,fabrics_per_member REAL,total_fabrics INTEGER,length REAL,"
    "width REAL,standard_bend_diameter REAL,shape_code TEXT,fabric_weight REAL,A REAL,B REAL,"
    "C REAL,D REAL,E REAL,F REAL,R REAL,A_rounded REAL,B_rounded REAL,C_rounded REAL,"
    "D_rounded REAL,E_rounded REAL,F_rounded REAL,R_rounded REAL,"
    "fabric_type_id INTEGER NOT NULL,raw BLOB, "
    "FOREIGN KEY (rev_id) REFERENCES revision(id) ON UPDATE CASCADE ON DELETE CASCADE, "
    "FOREIGN KEY (fabric_type_id) REFERENCES fabric_type(id) ON UPDATE CASCADE "
    "ON DELETE  SET NULL )",
    "CREATE TABLE mountingpart (id INTEGER PRIMARY KEY AUTOINCREMENT,mark TEXT,"
    "quantity INTEGER,material_id INTEGER NOT NULL,family_name TEXT,type_name TEXT,"
    "manufacturer TEXT,comment TEXT,keynote TEXT,model TEXT,url TEXT,description TEXT,cost REAL,"
    "order_number TEXT,catalog TEXT,rev_id INTEGER,mark_prefix TEXT,mark_suffix TEXT,"
    "member TEXT,raw BLOB, "
    "FOREIGN KEY (rev_id) REFERENCES revision(id) ON UPDATE CASCADE ON DELETE CASCADE, "
    "FOREIGN KEY (material_id) REFERENCES material(id) ON UPDATE CASCADE ON DELETE  SET NULL )",
};
// NOLINTEND(bugprone-suspicious-missing-comma)

const std::vector<std::string> kDropTables = {
    "DROP TABLE IF EXISTS mountingpart",  "DROP TABLE IF EXISTS fabric",
    "DROP TABLE IF EXISTS fabric_type",   "DROP TABLE IF EXISTS rebar",
    "DROP TABLE IF EXISTS end_treatment", "DROP TABLE IF EXISTS barspacer",
    "DROP TABLE IF EXISTS revision",      "DROP TABLE IF EXISTS sheet",
    "DROP TABLE IF EXISTS material",      "DROP TABLE IF EXISTS project"};

std::vector<std::string> statements_of_a_reset() {
  std::vector<std::string> statements = {"BEGIN"};
  statements.insert(statements.end(), kDropTables.begin(), kDropTables.end());
  statements.insert(statements.end(), kCreateTables.begin(), kCreateTables.end());
  statements.emplace_back("COMMIT");
  return statements;
}

/// A project with rows in every table.
class FilledProject : public FilledRevision {
 protected:
  FilledProject() {
    GenericReply reply;
    project().update_project({}, reply);
  }
};

using Schema = StoreTest;
using Clear = FilledProject;
using FailingClear = FilledProject;
using UniqueColumns = StoreTest;

TEST_F(Schema, IsMadeByExactlyTheseTenStatements) {
  Rows expected;
  for (const std::string& sql : kCreateTables) expected.push_back({sql});
  EXPECT_EQ(rows("select sql from sqlite_master where type = 'table' and name not like 'sqlite_%' "
                 "order by rootpage"),
            expected);
}

TEST_F(Schema, HasNoIndexButThoseOfSqlite) {
  EXPECT_EQ(rows("select name from sqlite_master where type <> 'table' and sql is not null"),
            Rows{});
  EXPECT_EQ(rows("select tbl_name from sqlite_master where type = 'index' order by name"),
            (Rows{{"fabric_type"}, {"fabric_type"}, {"material"}, {"revision"}, {"sheet"}}));
}

TEST_F(Schema, IsMadeInOneTransaction) {
  ConnectionWatch watch;
  reopen_under(watch);
  GenericReply reply;
  project().clear({}, reply);
  EXPECT_THAT(watch.statements(), ElementsAreArray(statements_of_a_reset()));
}

TEST(CreateTableSql, JoinsColumnsWithoutBlanks) {
  EXPECT_EQ(create_table_sql({"", {{"a", "TEXT"}, {"b", "REAL NOT NULL"}}, "t"}),
            "CREATE TABLE t (a TEXT,b REAL NOT NULL)");
}

TEST(CreateTableSql, SetsABlankAfterTheConstraints) {
  EXPECT_EQ(create_table_sql({"CHECK (a > 0)", {{"a", "INTEGER"}}, "t"}),
            "CREATE TABLE t (a INTEGER, CHECK (a > 0) )");
}

TEST(CreateTableSql, RendersTheForeignKeysOfColumnsAfterTheConstraints) {
  const ColumnSpec a{"a", "INTEGER", true, "p", "id"};
  const ColumnSpec b{"b", "TEXT"};
  const ColumnSpec c{"c", "TEXT", true, "q", "uid"};
  EXPECT_EQ(create_table_sql({"CHECK (a > 0)", {a, b, c}, "t"}),
            "CREATE TABLE t (a INTEGER,b TEXT,c TEXT, CHECK (a > 0) , "
            "FOREIGN KEY (a) REFERENCES p(id),FOREIGN KEY (c) REFERENCES q(uid))");
  EXPECT_EQ(create_table_sql({"", {a}, "t"}),
            "CREATE TABLE t (a INTEGER, FOREIGN KEY (a) REFERENCES p(id))");
}

TEST(SchemaBuilder, AddsToTheLastTable) {
  SchemaBuilder schema;
  schema.table("t").column("a", "TEXT").table("u").column("b", "REAL").constraints("UNIQUE (b)");
  ASSERT_EQ(schema.tables().size(), 2U);
  EXPECT_EQ(create_table_sql(schema.tables()[0]), "CREATE TABLE t (a TEXT)");
  EXPECT_EQ(create_table_sql(schema.tables()[1]), "CREATE TABLE u (b REAL, UNIQUE (b) )");
}

TEST_F(Schema, CannotBeMadeOrDroppedWithoutAConnection) {
  Poco::Data::Session session = closed_session();
  for (const auto& action : {&create_tables, &drop_tables}) {
    EXPECT_THAT([&] { action(project_schema(), session); }, misses_connection_to(file()));
  }
}

TEST_F(Schema, IsDroppedWhole) {
  Poco::Data::Session session = own_session();
  drop_tables(project_schema(), session);
  EXPECT_EQ(rows("select name from sqlite_master where name not like 'sqlite_%'"), Rows{});
  drop_tables(project_schema(), session);
}

TEST_F(Clear, EmptiesTheTenTablesAndLetsIdsStartAtOneAgain) {
  GenericReply reply;
  project().clear({true}, reply);
  EXPECT_EQ(counts(), std::vector<std::int64_t>(10, 0));
  EXPECT_EQ(make_material(), 1);
}

TEST_F(Clear, LeavesTheSchemaOfANewProject) {
  query("drop table barspacer");
  query("alter table sheet add column extra");
  GenericReply reply;
  project().clear({true}, reply);
  Rows expected;
  for (const std::string& sql : kCreateTables) expected.push_back({sql});
  EXPECT_EQ(rows("select sql from sqlite_master where type = 'table' and name not like 'sqlite_%' "
                 "order by rowid"),
            expected);
}

TEST_F(Clear, WithResetSchemaFalseLeavesEveryRowInPlace) {
  const std::vector<std::int64_t> before = counts();
  GenericReply reply;
  reply.error.set("before");
  project().clear({false}, reply);
  EXPECT_EQ(counts(), before);
  EXPECT_THAT(before, ::testing::Each(::testing::Gt(0)));
  EXPECT_EQ(*reply.error, "before");
}

TEST_F(Clear, WithResetSchemaFalseOpensAndClosesAnEmptyTransaction) {
  ConnectionWatch watch;
  reopen_under(watch);
  GenericReply reply;
  project().clear({false}, reply);
  EXPECT_THAT(watch.statements(), ElementsAre("BEGIN", "COMMIT"));
}

TEST_F(Clear, LeavesTheReplyAndTheIdOfTheProjectAsTheyWere) {
  GenericReply reply;
  reply.error.set("before");
  project().clear({true}, reply);
  EXPECT_EQ(*reply.error, "before");
  EXPECT_EQ(project().id(), "korvane.model.cad.Project:0");
}

TEST_F(Clear, KeepsTheConnectionOpen) {
  const ConnectionWatch watch;
  GenericReply reply;
  project().clear({true}, reply);
  EXPECT_THAT(watch.opened(), IsEmpty());
  EXPECT_EQ(make_sheet(), 1);
}

/// A view that has taken a table's place cannot be dropped as a table.
TEST_F(FailingClear, IsNotRolledBackSoThatTheNextWriteFailsAtItsBegin) {
  query("drop table rebar");
  query("create view rebar as select 1");
  GenericReply reply;
  EXPECT_THROW(project().clear({true}, reply), InvalidSQLStatementException);
  EXPECT_THROW(make_material(), InvalidSQLStatementException);
  EXPECT_EQ(query("select id from sheet").rows.size(), 1U);
  EXPECT_THROW(query("select id from mountingpart"), InvalidSQLStatementException);
}

TEST_F(FailingClear, IsUndoneByClosingTheProject) {
  query("drop table rebar");
  query("create view rebar as select 1");
  GenericReply reply;
  EXPECT_THROW(project().clear({true}, reply), InvalidSQLStatementException);
  reopen();
  EXPECT_EQ(count("mountingpart"), 2);
  EXPECT_EQ(make_material(), 2);
}

TEST_F(UniqueColumns, TakeAnyNumberOfNulls) {
  query("insert into material (uid) values (NULL), (NULL)");
  query("insert into fabric_type (material_id) values (1), (1)");
  EXPECT_EQ(count("material"), 2);
  EXPECT_EQ(count("fabric_type"), 2);
}

TEST_F(Schema, RefusesABarWithoutMassPerLength) {
  make_revision();
  make_material();
  EXPECT_THAT([&] { query("insert into rebar (rev_id, material_id) values (1, 1)"); },
              violates("NOT NULL constraint failed: rebar.bartype_mass_per_length"));
  EXPECT_EQ(count("rebar"), 0);
}

}  // namespace

}  // namespace korvane::test
