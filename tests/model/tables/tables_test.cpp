#include "model/tables/tables.h"

#include <map>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contracts/cad/contracts.describe.h"
#include "tests/support/filled_record.h"

namespace korvane::test {
namespace {

using namespace model::cad;
using namespace model::tables;
using testing::ElementsAre;

/// A record of a table with every field set, no two alike.
template <class T>
T record_of(const Table<T>&) {
  return Filler().make<T>();
}

std::string text_of(const Value& value) {
  struct Text {
    std::string operator()(std::monostate) const { return "null"; }
    std::string operator()(bool value) const { return value ? "bool true" : "bool false"; }
    std::string operator()(std::int32_t value) const { return "int32 " + std::to_string(value); }
    std::string operator()(double value) const { return "double " + std::to_string(value); }
    std::string operator()(std::string_view value) const { return "text " + std::string(value); }
    std::string operator()(Bytes value) const { return "bytes " + std::to_string(value.size); }
  };
  return std::visit(Text(), value);
}

/// The first word of a text.
std::string first_word(std::string_view text) {
  return std::string(text.substr(0, text.find(' ')));
}

TEST(Tables, AreTenParentsBeforeTheirChildren) {
  std::vector<std::string> names;
  for_each_table([&](const auto& table) { names.push_back(table.name()); });
  EXPECT_THAT(names,
              ElementsAre("project", "material", "sheet", "revision", "barspacer", "end_treatment",
                          "rebar", "fabric_type", "fabric", "mountingpart"));
}

TEST(Tables, BeginWithAnIdThatTheDatabaseFillsAndItAlone) {
  for_each_table([](const auto& table) {
    EXPECT_EQ(table.columns().front().name, "id") << table.name();
    for (const auto& column : table.columns()) {
      EXPECT_EQ(column.origin == Origin::kDatabase, column.name == "id") << table.name();
      EXPECT_EQ(static_cast<bool>(column.value), column.name != "id") << table.name();
    }
  });
}

TEST(Tables, EndWithTheWholeRecordButForTreatments) {
  for_each_table([](const auto& table) {
    EXPECT_EQ(table.columns().back().name == "raw", table.name() != "end_treatment")
        << table.name();
  });
}

TEST(Tables, InsertEveryColumnButTheId) {
  for_each_table([](const auto& table) {
    std::multiset<std::string> expected;
    std::multiset<std::string> inserted;
    for (const auto& column : table.columns()) expected.insert(column.name);
    table.for_each_inserted([&](const auto& column) { inserted.insert(column.name); });
    expected.erase("id");
    EXPECT_EQ(inserted, expected) << table.name();
  });
}

TEST(Tables, RepeatEachFieldInOneColumn) {
  for_each_table([](const auto& table) {
    const auto record = record_of(table);
    std::set<std::string> seen;
    for (const auto& column : table.columns()) {
      if (column.origin != Origin::kRecord) continue;
      const std::string text = text_of(column.value(record, {}));
      EXPECT_TRUE(seen.insert(text).second) << table.name() << "." << column.name << ": " << text;
    }
  });
}

TEST(Tables, DeclareTheTypeOfTheirValuesButForTwoColumns) {
  const std::map<std::string, std::string> kinds = {
      {"TEXT", "text"}, {"INTEGER", "int32"}, {"REAL", "double"}, {"BOOLEAN", "bool"}};
  std::vector<std::string> uneven;
  for_each_table([&](const auto& table) {
    const auto record = record_of(table);
    for (const auto& column : table.columns()) {
      if (column.origin != Origin::kRecord) continue;
      const std::string kind = first_word(text_of(column.value(record, {})));
      if (kind != kinds.at(first_word(column.type))) {
        uneven.push_back(table.name() + "." + column.name + " " + kind);
      }
    }
  });
  EXPECT_THAT(uneven,
              ElementsAre("fabric_type.description text", "fabric.fabrics_per_member int32"));
}

TEST(Tables, TakeNullOfABarWithoutAMaterial) {
  const auto table = table_of<Rebar>();
  for (const auto& column : table.columns()) {
    if (column.name == "material_id") {
      EXPECT_EQ(column.value(Rebar(), {}), Value());
    }
  }
}

TEST(Tables, TakeTheIdsOfABarsTreatmentsFromTheWriter) {
  Given<Rebar> given;
  given.end_treatment_start.set(3);
  std::map<std::string, std::string> values;
  const auto table = table_of<Rebar>();
  for (const auto& column : table.columns()) {
    if (column.origin == Origin::kWriter) values[column.name] = text_of(column.value({}, given));
  }
  EXPECT_EQ(values, (std::map<std::string, std::string>{{"end_treatment_start", "int32 3"},
                                                        {"end_treatment_end", "null"},
                                                        {"raw", "bytes 0"}}));
}

}  // namespace
}  // namespace korvane::test
