// docs/contracts.md says what the descriptions say.

#include "tests/format/contracts_page.h"

#include <fstream>
#include <iterator>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace korvane::test {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string contracts_page() {
  std::ifstream file(KORVANE_CONTRACTS_PAGE, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

TEST(ContractsPage, ListsWhatTheDescriptionsList) {
  EXPECT_EQ(contracts_page(), remade_contracts_page(contracts_page()))
      << "write it anew: make docs";
}

TEST(ContractsPage, HasEveryOperationWithItsRequestAndReply) {
  EXPECT_THAT(contracts_page_parts().at("services"),
              HasSubstr("| `get_rebars` | `RevisionRef` | `Batch<Rebar>` | Get the bars"));
}

TEST(ContractsPage, HasTheUnitsOfRecordsAndTheParameterOfQueries) {
  const auto parts = contracts_page_parts();
  EXPECT_THAT(parts.at("records"),
              HasSubstr("| 11 | `bar_diameter` | `double` | 0.0 | mm | nominal diameter"));
  EXPECT_THAT(parts.at("messages"), HasSubstr("| 1 | `params` | `map<string, Variant>` | empty |"));
  EXPECT_THAT(parts.at("messages"), HasSubstr("| 0 | `id` | `int32 or nothing` | nothing |"));
}

TEST(ContractsPage, TellsOfAGenericContractOnce) {
  const std::string messages = contracts_page_parts().at("messages");
  EXPECT_THAT(messages, HasSubstr("### `Batch`\n"));
  EXPECT_THAT(messages, HasSubstr("| 0 | `items` | `list<T>` | empty |"));
  EXPECT_EQ(messages.find("### `Batch`"), messages.rfind("### `Batch`"));
}

TEST(ContractsPage, NamesWhatNoOperationCarriesAndTellsNoMore) {
  const auto parts = contracts_page_parts();
  EXPECT_THAT(parts.at("unused"), HasSubstr("`NurbsCurve`"));
  EXPECT_THAT(parts.at("unused"), Not(HasSubstr("`Rebar`")));
}

}  // namespace
}  // namespace korvane::test
