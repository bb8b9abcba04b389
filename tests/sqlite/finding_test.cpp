#include "sqlite/finding.h"

#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace korvane::sqlite {
namespace {

TEST(Findings, AreListedInTheOperationsPageEachWithWhatARepairDoes) {
  std::vector<std::string> expected;
  for (const KindDescription& each : descriptions()) {
    expected.push_back("| `" + std::string(each.name) + "` | " +
                       std::string(name_of(each.severity)) + " | " + std::string(each.meaning) +
                       " | " + std::string(each.repair) + " |");
  }
  std::vector<std::string> found;
  std::ifstream page(KORVANE_OPERATIONS_PAGE);
  bool is_in_table = false;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("| Kind |")) is_in_table = true;
    if (line.empty()) is_in_table = false;
    if (is_in_table && line.starts_with("| `")) found.push_back(line);
  }
  EXPECT_THAT(found, testing::ElementsAreArray(expected));
}

}  // namespace
}  // namespace korvane::sqlite
