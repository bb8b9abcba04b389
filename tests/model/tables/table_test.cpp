#include "model/tables/table.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace korvane::test {
namespace {

using model::cad::RebarParams;
using model::tables::Bytes;
using model::tables::Column;
using model::tables::Given;
using model::tables::Origin;
using model::tables::Table;
using model::tables::Value;
using model::tables::value_of;
using testing::ElementsAre;

struct Part {
  std::int32_t number = 0;
};
struct Record {
  std::string text;
  bond::nullable<double> length;
  Part part;
  RebarParams params;
};

Table<Record> table() {
  return Table<Record>("t")
      .column("id", "INTEGER PRIMARY KEY")
      .column("text", "TEXT", &Record::text)
      .column("length", "REAL", &Record::length)
      .column("number", "INTEGER", &Record::part, &Part::number)
      .column("is_long", "BOOLEAN", [](const Record& record) { return record.length.hasvalue(); })
      .raw();
}

/// The value of a column of `table()`, by its place.
Value value_at(std::size_t column, const Record& record, const Given<Record>& given = {}) {
  const Table<Record> made = table();
  return made.columns().at(column).value(record, given);
}

template <class T>
std::vector<std::string> names(const Table<T>& table) {
  std::vector<std::string> names;
  for (const Column<T>& column : table.columns()) names.push_back(column.name);
  return names;
}

template <class T>
std::vector<std::string> inserted_names(const Table<T>& table) {
  std::vector<std::string> names;
  table.for_each_inserted([&](const Column<T>& column) { names.push_back(column.name); });
  return names;
}

TEST(ValueOf, KeepsTheKindOfWhatItIsGiven) {
  const bond::blob bytes = bond::blob::copy_of("\0b", 2);
  EXPECT_EQ(value_of(true), Value(true));
  EXPECT_EQ(value_of(7), Value(7));
  EXPECT_EQ(value_of(0.5), Value(0.5));
  EXPECT_EQ(value_of("a"), Value(std::string_view("a")));
  EXPECT_EQ(value_of(bytes), Value(Bytes{"\0b", 2}));
}

TEST(ValueOf, ComparesBytesByTheirContent) {
  const std::string bytes = "ab";
  EXPECT_EQ(Bytes(), (Bytes{bytes.data(), 0}));
  EXPECT_EQ((Bytes{"ab", 2}), (Bytes{bytes.data(), 2}));
  EXPECT_FALSE((Bytes{"ab", 2}) == (Bytes{"ac", 2}));
  EXPECT_FALSE((Bytes{"ab", 2}) == (Bytes{"ab", 1}));
}

TEST(ValueOf, IsNullForANullableWithoutAValueAlone) {
  EXPECT_EQ(value_of(bond::nullable<std::string>()), Value());
  EXPECT_EQ(value_of(bond::nullable<std::string>("")), Value(std::string_view()));
  EXPECT_EQ(value_of(bond::nullable<std::int32_t>(0)), Value(0));
}

TEST(TableList, KeepsItsColumnsInOrderWithTypeAndOrigin) {
  EXPECT_THAT(names(table()), ElementsAre("id", "text", "length", "number", "is_long", "raw"));
  std::vector<std::string> types;
  std::vector<Origin> origins;
  const Table<Record> made = table();
  for (const Column<Record>& column : made.columns()) {
    types.emplace_back(column.type);
    origins.push_back(column.origin);
  }
  EXPECT_THAT(types,
              ElementsAre("INTEGER PRIMARY KEY", "TEXT", "REAL", "INTEGER", "BOOLEAN", "BLOB"));
  EXPECT_THAT(origins, ElementsAre(Origin::kDatabase, Origin::kRecord, Origin::kRecord,
                                   Origin::kRecord, Origin::kRecord, Origin::kWriter));
}

TEST(TableList, HasNoValueForWhatTheDatabaseFills) {
  const Table<Record> made = table();
  EXPECT_FALSE(made.columns().front().value);
  EXPECT_THAT(inserted_names(made), ElementsAre("text", "length", "number", "is_long", "raw"));
}

TEST(TableList, ReadsFieldsNestedFieldsAndFunctions) {
  Record record;
  EXPECT_EQ(value_at(2, record), Value());
  EXPECT_EQ(value_at(4, record), Value(false));
  record.length.set(0.25);
  record.part.number = 3;
  EXPECT_EQ(value_at(2, record), Value(0.25));
  EXPECT_EQ(value_at(3, record), Value(3));
  EXPECT_EQ(value_at(4, record), Value(true));
}

TEST(TableList, ShowsTextsAndBytesWhereTheyLie) {
  const Record record{"a text of more than a few letters", {}, {}, {}};
  const std::string bytes = "bytes";
  EXPECT_EQ(std::get<std::string_view>(value_at(1, record)).data(), record.text.data());
  EXPECT_EQ(std::get<Bytes>(value_at(5, record, {{bytes.data(), bytes.size()}})).data,
            bytes.data());
}

TEST(TableList, HasSevenLettersEachWithTheSuffix) {
  const auto letters = Table<Record>("t").letters("_x", &Record::params);
  EXPECT_THAT(names(letters), ElementsAre("A_x", "B_x", "C_x", "D_x", "E_x", "F_x", "R_x"));
  Record record;
  bond::nullable<double>* const fields[] = {&record.params.a, &record.params.b, &record.params.c,
                                            &record.params.d, &record.params.e, &record.params.f,
                                            &record.params.r};
  for (std::size_t i = 0; i < std::size(fields); ++i) {
    const Column<Record>& column = letters.columns().at(i);
    EXPECT_EQ(column.type, "REAL");
    EXPECT_EQ(column.value(record, {}), Value()) << column.name;
    fields[i]->set(1.5);
    EXPECT_EQ(column.value(record, {}), Value(1.5)) << column.name;
  }
}

TEST(TableList, MovesAColumnToTheFrontOfAnInsertAlone) {
  const auto moved = Table<Record>("t")
                         .column("a", "TEXT", &Record::text)
                         .column("b", "TEXT", &Record::text)
                         .column("c", "TEXT", &Record::text)
                         .inserted_first()
                         .raw();
  EXPECT_THAT(names(moved), ElementsAre("a", "b", "c", "raw"));
  EXPECT_THAT(inserted_names(moved), ElementsAre("c", "a", "b", "raw"));
}

TEST(TableList, HasConstraintsOnlyWhenTheyAreGiven) {
  EXPECT_EQ(table().name(), "t");
  EXPECT_TRUE(table().constraints().empty());
  const auto constrained = Table<Record>("t").constraints("UNIQUE (text)");
  EXPECT_EQ(constrained.constraints(), "UNIQUE (text)");
}

}  // namespace
}  // namespace korvane::test
