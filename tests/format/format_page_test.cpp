// docs/format.md says what the descriptions say.

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/format/page_tables.h"

namespace korvane::test {
namespace {

using testing::HasSubstr;

std::string page() {
  std::ifstream file(KORVANE_FORMAT_PAGE, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

TEST(FormatPage, ListsWhatTheDescriptionsList) {
  EXPECT_EQ(page(), remade_format_page(page())) << "write it anew: make docs";
}

TEST(FormatPage, IsRefusedWithoutOneOfItsParts) {
  std::string without = page();
  const std::string mark = "<!-- made: contracts -->";
  without.replace(without.find(mark), mark.size(), "");
  EXPECT_THROW(remade_format_page(without), std::invalid_argument);
}

TEST(FormatPage, NamesTheFieldThatAColumnRepeatsAndItsUnit) {
  const std::string tables = format_page_parts().at("tables");
  EXPECT_THAT(tables, HasSubstr("| `bartype_name` | `TEXT` | yes | `bar_type_name` | |"));
  EXPECT_THAT(tables, HasSubstr("| `A_rounded` | `REAL` | yes | `parameters_rounded.a` | mm |"));
  EXPECT_THAT(tables,
              HasSubstr("| `fabric_type_id` | `INTEGER NOT NULL` | no | `fabric_type.id` |"));
  EXPECT_THAT(tables, HasSubstr("| `is_list_fabric` | `BOOLEAN` | no | the store | |"));
  EXPECT_THAT(tables, HasSubstr("| `end_treatment_start` | `INTEGER` | yes | the store | |"));
}

TEST(FormatPage, ShowsDefaultsTypesAndSpareOrdinalsOfContracts) {
  const std::string contracts = format_page_parts().at("contracts");
  EXPECT_THAT(contracts, HasSubstr("| 17 | `multiplier` | `int32` | 1 | pieces |"));
  EXPECT_THAT(contracts, HasSubstr("| 25 | `properties` | `map<string, Variant>` | empty | |"));
  EXPECT_THAT(contracts, HasSubstr("| 24 | `geometry` | `nullable<RebarGeometry>` | not set | |"));
  EXPECT_THAT(contracts, HasSubstr("| 3 | `direction` | `HookDirection` | `kLeft` | |"));
  EXPECT_THAT(contracts, HasSubstr("\nSpare ordinals: 18, 19, 30.\n"));
}

}  // namespace
}  // namespace korvane::test
