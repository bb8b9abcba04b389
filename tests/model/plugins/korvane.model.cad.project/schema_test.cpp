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

#include "tests/support/connection_watch.h"
#include "tests/support/store_test.h"

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

/// One row in every table, each foreign key to a parent row of its own.
class FilledStoreTest : public StoreTest {
 protected:
  FilledStoreTest() {
    query("insert into project (raw) values (x'00')");
    query("insert into material (uid) values ('for rebar'), ('for type'), ('for part')");
    query("insert into sheet (uid) values ('s-1')");
    query("insert into revision (sheet_id) values (1), (1), (1)");
    query("insert into end_treatment (type) values ('start'), ('end')");
    query(
        "insert into rebar (rev_id, material_id, end_treatment_start, end_treatment_end, "
        "bartype_mass_per_length) values (1, 1, 1, 2, 0.5)");
    query("insert into fabric_type (uid, type, material_id) values ('t-1', 'Q188', 2)");
    query("insert into fabric (rev_id, fabric_type_id) values (2, 1)");
    query("insert into mountingpart (rev_id, material_id) values (3, 3)");
    query("insert into barspacer (rev_id, sheet_id) values (1, 1)");
  }

  void delete_sheet(std::int32_t id) {
    GenericReply reply;
    project().delete_sheet(by_id<SheetRef>(id), reply);
  }
  void delete_revision(std::int32_t id) {
    GenericReply reply;
    project().delete_revision(by_id<RevisionRef>(id), reply);
  }
  void delete_material(std::int32_t id) {
    GenericReply reply;
    project().delete_material(by_id<MaterialRef>(id), reply);
  }
};

using Schema = StoreTest;
using Clear = FilledStoreTest;
using FailingClear = FilledStoreTest;
using ForeignKeys = FilledStoreTest;
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
  reopen();
  watch.forget();
  GenericReply reply;
  project().clear({}, reply);
  EXPECT_THAT(watch.statements(), ElementsAreArray(statements_of_a_reset()));
}

TEST_F(Schema, OfANewProjectHoldsNoRow) { EXPECT_EQ(counts(), std::vector<std::int64_t>(10, 0)); }

TEST(CreateTableSql, JoinsColumnsWithoutBlanks) {
  EXPECT_EQ(create_table_sql({"", {{"a", "TEXT"}, {"b", "REAL NOT NULL"}}, "t"}),
            "CREATE TABLE t (a TEXT,b REAL NOT NULL)");
}

TEST(CreateTableSql, SetsABlankBehindTheConstraints) {
  EXPECT_EQ(create_table_sql({"CHECK (a > 0)", {{"a", "INTEGER"}}, "t"}),
            "CREATE TABLE t (a INTEGER, CHECK (a > 0) )");
}

TEST(CreateTableSql, RendersTheForeignKeysOfColumnsBehindTheConstraints) {
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
    try {
      action(project_schema(), session);
      ADD_FAILURE() << "no exception";
    } catch (const Poco::Data::NotConnectedException& exception) {
      EXPECT_EQ(exception.message(), file());
    }
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
  reopen();
  watch.forget();
  GenericReply reply;
  project().clear({false}, reply);
  EXPECT_THAT(watch.statements(), ElementsAre("BEGIN", "COMMIT"));
}

TEST_F(Clear, ResetsByDefault) {
  GenericReply reply;
  project().clear({}, reply);
  EXPECT_EQ(count("material"), 0);
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

/// A view in the place of a table cannot be dropped as one.
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
  EXPECT_EQ(count("mountingpart"), 1);
  EXPECT_EQ(make_material(), 4);
}

TEST_F(ForeignKeys, DeleteRevisionsAndTheirContentButNoBarSpacerWithASheet) {
  delete_sheet(1);
  for (const char* table : {"sheet", "revision", "rebar", "fabric", "mountingpart"}) {
    EXPECT_EQ(count(table), 0) << table;
  }
  EXPECT_EQ(count("barspacer"), 1);
}

TEST_F(ForeignKeys, DeleteTheContentOfARevisionButNoBarSpacer) {
  for (const std::int32_t id : {1, 2, 3}) delete_revision(id);
  for (const char* table : {"rebar", "fabric", "mountingpart"}) EXPECT_EQ(count(table), 0) << table;
  EXPECT_EQ(rows("select rev_id from barspacer"), (Rows{{"1"}}));
}

TEST_F(ForeignKeys, DeleteTheContentOfThatRevisionAlone) {
  delete_revision(2);
  EXPECT_EQ(count("fabric"), 0);
  EXPECT_EQ(count("rebar"), 1);
  EXPECT_EQ(count("mountingpart"), 1);
}

TEST_F(ForeignKeys, KeepCatalogueRowsWhenContentGoes) {
  delete_sheet(1);
  EXPECT_EQ(count("material"), 3);
  EXPECT_EQ(count("fabric_type"), 1);
  EXPECT_EQ(count("end_treatment"), 2);
}

TEST_F(ForeignKeys, RefuseToDeleteAMaterialInUseByABar) {
  EXPECT_THROW(delete_material(1), ConstraintViolationException);
  EXPECT_EQ(value("select count(*) from material where id = 1"), "1");
}

TEST_F(ForeignKeys, RefuseToDeleteAMaterialInUseByAFabricType) {
  EXPECT_THROW(delete_material(2), ConstraintViolationException);
  EXPECT_EQ(value("select count(*) from material where id = 2"), "1");
}

TEST_F(ForeignKeys, RefuseToDeleteAMaterialInUseByAMountingPart) {
  EXPECT_THROW(delete_material(3), ConstraintViolationException);
  EXPECT_EQ(value("select count(*) from material where id = 3"), "1");
}

TEST_F(ForeignKeys, RefuseToDeleteAFabricTypeInUse) {
  EXPECT_THROW(query("delete from fabric_type where id = 1"), ConstraintViolationException);
  EXPECT_EQ(count("fabric_type"), 1);
}

TEST_F(ForeignKeys, LetAMaterialGoOnceNothingUsesIt) {
  delete_revision(1);
  delete_material(1);
  EXPECT_EQ(count("material"), 2);
}

TEST_F(ForeignKeys, EmptyTheTreatmentColumnsOfBarsWhoseTreatmentIsDeleted) {
  query("delete from end_treatment where id = 1");
  EXPECT_EQ(rows("select end_treatment_start, end_treatment_end from rebar"), (Rows{{kNull, "2"}}));
  query("delete from end_treatment where id = 2");
  EXPECT_EQ(rows("select end_treatment_start, end_treatment_end from rebar"),
            (Rows{{kNull, kNull}}));
}

/// One foreign key: a column of the one row that `FilledStoreTest` has in the child.
struct Relation {
  std::string child;
  std::string column;
  std::string parent;
  std::int32_t parent_id;
  bool cascades;
  bool nullable;
};

void PrintTo(const Relation& relation, std::ostream* stream) {
  *stream << relation.child << "." << relation.column;
}

class EachRelation : public FilledStoreTest, public ::testing::WithParamInterface<Relation> {
 protected:
  std::string references() const {
    return *value("select coalesce(group_concat(distinct " + GetParam().column +
                  "), 'NULL') from " + GetParam().child);
  }
  void set_reference(const std::string& sql_value) {
    query("update " + GetParam().child + " set " + GetParam().column + " = " + sql_value);
  }
  void delete_parent() {
    query("delete from " + GetParam().parent +
          " where id = " + std::to_string(GetParam().parent_id));
  }
};

TEST_P(EachRelation, FollowsItsParentsId) {
  query("update " + GetParam().parent +
        " set id = 50 where id = " + std::to_string(GetParam().parent_id));
  EXPECT_EQ(references(), "50");
}

TEST_P(EachRelation, RefusesAParentThatIsNotThere) {
  const std::string before = references();
  EXPECT_THROW(set_reference("999"), ConstraintViolationException);
  EXPECT_EQ(references(), before);
}

TEST_P(EachRelation, TakesNullWhereTheColumnMayBeEmpty) {
  const std::string before = references();
  if (GetParam().nullable) {
    set_reference("NULL");
    EXPECT_EQ(references(), "NULL");
  } else {
    EXPECT_THROW(set_reference("NULL"), ConstraintViolationException);
    EXPECT_EQ(references(), before);
  }
}

TEST_P(EachRelation, ActsWhenItsParentIsDeleted) {
  if (GetParam().cascades) {
    delete_parent();
    EXPECT_EQ(count(GetParam().child), 0);
  } else if (GetParam().nullable) {
    delete_parent();
    EXPECT_EQ(references(), "NULL");
    EXPECT_EQ(count(GetParam().child), 1);
  } else {
    EXPECT_THROW(delete_parent(), ConstraintViolationException);
    EXPECT_EQ(references(), std::to_string(GetParam().parent_id));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Schema, EachRelation,
    ::testing::Values(Relation{"revision", "sheet_id", "sheet", 1, true, true},
                      Relation{"rebar", "rev_id", "revision", 1, true, false},
                      Relation{"rebar", "end_treatment_start", "end_treatment", 1, false, true},
                      Relation{"rebar", "end_treatment_end", "end_treatment", 2, false, true},
                      Relation{"rebar", "material_id", "material", 1, false, false},
                      Relation{"fabric_type", "material_id", "material", 2, false, false},
                      Relation{"fabric", "rev_id", "revision", 2, true, false},
                      Relation{"fabric", "fabric_type_id", "fabric_type", 1, false, false},
                      Relation{"mountingpart", "rev_id", "revision", 3, true, true},
                      Relation{"mountingpart", "material_id", "material", 3, false, false}),
    [](const auto& one) { return one.param.child + "_" + one.param.column; });

TEST_F(UniqueColumns, RefuseASecondUidOfEachEntity) {
  query("insert into material (uid) values ('u')");
  query("insert into sheet (uid) values ('u')");
  query("insert into revision (uid) values ('u')");
  query("insert into fabric_type (uid, type, material_id) values ('u', 'Q188', 1)");
  EXPECT_THROW(query("insert into material (uid) values ('u')"), ConstraintViolationException);
  EXPECT_THROW(query("insert into sheet (uid) values ('u')"), ConstraintViolationException);
  EXPECT_THROW(query("insert into revision (uid) values ('u')"), ConstraintViolationException);
  EXPECT_THROW(query("insert into fabric_type (uid, type, material_id) values ('u', 'Q257', 1)"),
               ConstraintViolationException);
}

TEST_F(UniqueColumns, RefuseASecondFabricTypeOfOneType) {
  query("insert into material (uid) values ('u')");
  query("insert into fabric_type (uid, type, material_id) values ('a', 'Q188', 1)");
  EXPECT_THROW(query("insert into fabric_type (uid, type, material_id) values ('b', 'Q188', 1)"),
               ConstraintViolationException);
  EXPECT_EQ(count("fabric_type"), 1);
}

TEST_F(UniqueColumns, TakeAnyNumberOfNulls) {
  query("insert into material (uid) values (NULL), (NULL)");
  query("insert into fabric_type (material_id) values (1), (1)");
  EXPECT_EQ(count("material"), 2);
  EXPECT_EQ(count("fabric_type"), 2);
}

TEST_F(Schema, RefusesABarWithoutMassPerLength) {
  const std::int32_t rev = make_revision();
  const std::int32_t material = make_material();
  EXPECT_EQ(rev, 1);
  EXPECT_EQ(material, 1);
  EXPECT_THROW(query("insert into rebar (rev_id, material_id) values (1, 1)"),
               ConstraintViolationException);
  EXPECT_EQ(count("rebar"), 0);
}

TEST_F(Schema, StoresAFabricDescriptionThatReadsAsANumberAsOne) {
  make_material();
  query("insert into fabric_type (material_id, description) values (1, '12.50'), (1, 'heavy')");
  EXPECT_EQ(rows("select typeof(description), description from fabric_type"),
            (Rows{{"real", "12.5"}, {"text", "heavy"}}));
}

TEST_F(Schema, LetsTheIdOfADeletedHighestTreatmentComeBackAndThatOfAMaterialNot) {
  query("insert into end_treatment (type) values ('a'), ('b')");
  query("delete from end_treatment where id = 2");
  query("insert into end_treatment (type) values ('c')");
  EXPECT_EQ(value("select max(id) from end_treatment"), "2");
  GenericReply reply;
  project().delete_material(by_id<MaterialRef>(make_material()), reply);
  EXPECT_EQ(make_material(), 2);
}

}  // namespace

}  // namespace korvane::test
