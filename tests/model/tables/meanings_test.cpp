#include "model/tables/meanings.h"

#include <set>
#include <stdexcept>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/stored_contracts.h"

namespace korvane::test {
namespace {

using model::tables::for_each_meaning;
using model::tables::Meaning;
using model::tables::meaning_of;
using model::tables::Origin;

using Names = std::multiset<std::pair<std::string, std::string>>;

/// All that a project file holds and that has a meaning of its own.
struct NamesOfTypes {
  Names names;

  template <class T>
  void contract() {
    const std::string name(bond::plain_name(bond::Describe<T>::qualified_name));
    names.emplace(name, "");
    bond::for_each_field<T>([&](const auto& field) { names.emplace(name, field.name); });
  }
  template <class E>
  void enumeration() {
    const std::string name(bond::plain_name(bond::DescribeEnum<E>::qualified_name));
    names.emplace(name, "");
    for (const auto& enumerator : bond::DescribeEnum<E>::enumerators) {
      names.emplace(name, enumerator.name);
    }
  }
};

Names expected_names() {
  NamesOfTypes types;
  for_each_stored_type(types);
  model::tables::for_each_table([&](const auto& table) {
    types.names.emplace(table.name(), "");
    for (const auto& column : table.columns()) {
      // A column that says whether a field is set repeats none.
      const bool says_whether = column.type == "BOOLEAN";
      if (column.origin != Origin::kRecord || says_whether) {
        types.names.emplace(table.name(), column.name);
      }
    }
  });
  return types.names;
}

TEST(Meanings, AreThereOnceForAllThatAProjectFileHoldsAndForNothingElse) {
  // Besides, these columns are told apart from the fields that they repeat.
  Names expected = expected_names();
  expected.emplace("fabric_type", "description");
  expected.emplace("fabric_type", "material_id");
  expected.emplace("fabric", "fabric_type_id");
  Names told;
  for_each_meaning([&](const Meaning& meaning) { told.emplace(meaning.owner, meaning.name); });
  EXPECT_EQ(told, expected);
}

TEST(Meanings, FitIntoATableOfMarkdown) {
  for_each_meaning([](const Meaning& meaning) {
    const std::string name = std::string(meaning.owner) + "." + std::string(meaning.name);
    EXPECT_FALSE(meaning.text.empty()) << name;
    EXPECT_EQ(meaning.text.find_first_of("|\n"), std::string_view::npos) << name;
    // Those of owners are sentences, all others are phrases.
    EXPECT_TRUE(!meaning.name.empty() || meaning.text.ends_with('.')) << name;
  });
}

TEST(Meanings, KnowTheUnitsThatTheCommandsWorkWith) {
  EXPECT_EQ(meaning_of("Rebar", "bar_diameter").unit, "mm");
  EXPECT_EQ(meaning_of("Rebar", "bar_type_mass_per_length").unit, "kg/m");
  EXPECT_EQ(meaning_of("GeometryObject", "angle").unit, "°");
  EXPECT_EQ(meaning_of("Rebar", "mark").unit, "");
  const std::set<std::string_view> units = {"", "mm", "°", "kg", "kg/m", "kg/m³", "pieces"};
  for_each_meaning([&](const Meaning& meaning) { EXPECT_TRUE(units.contains(meaning.unit)); });
}

TEST(Meanings, AreFoundByOwnerAndName) {
  for_each_meaning([](const Meaning& meaning) {
    EXPECT_EQ(&meaning_of(meaning.owner, meaning.name), &meaning) << meaning.owner;
  });
}

TEST(Meanings, RefuseANameThatThereIsNot) {
  EXPECT_THROW(
      {
        try {
          meaning_of("Rebar", "colour");
        } catch (const std::out_of_range& failure) {
          EXPECT_STREQ(failure.what(), "no meaning of \"Rebar.colour\"");
          throw;
        }
      },
      std::out_of_range);
  EXPECT_THROW(meaning_of("rebar", "mark"), std::out_of_range);
  EXPECT_THROW(meaning_of("Nobody", ""), std::out_of_range);
}

}  // namespace
}  // namespace korvane::test
