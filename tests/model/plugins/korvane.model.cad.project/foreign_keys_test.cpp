#include <cstdint>
#include <ostream>
#include <string>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <gtest/gtest.h>

#include "tests/support/store_test.h"

namespace korvane::test {

namespace {

using Poco::Data::SQLite::ConstraintViolationException;

/// Rows in every table; each foreign key refers to a parent row of its own.
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
};

/// A foreign key: a column of the only row that `FilledStoreTest` has in the child table.
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

}  // namespace

}  // namespace korvane::test
