// docs/sql.md says what is there, and its examples run.

#include <cctype>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "schedule/import.h"
#include "tests/sqlite/extension/loaded_connection.h"
#include "tests/support/store_test.h"
#include "tests/support/text_of.h"

namespace korvane {
namespace {

using test::LoadedConnection;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

std::vector<std::string> lines_of_page() {
  std::istringstream page(test::text_of(KORVANE_DOCS "/sql.md"));
  std::vector<std::string> lines;
  for (std::string line; std::getline(page, line);) lines.push_back(line);
  return lines;
}

/// The names in backticks in the first cell of each row of the table under a heading.
std::vector<std::string> columns_of(const std::string& view) {
  std::vector<std::string> names;
  bool is_there = false;
  for (const std::string& line : lines_of_page()) {
    if (line.starts_with("#")) is_there = line == "### `" + view + "`";
    if (!is_there || !line.starts_with("| `")) continue;
    const std::string cell = line.substr(2, line.find('|', 2) - 2);
    for (std::size_t begin = cell.find('`'); begin != std::string::npos;) {
      const std::size_t end = cell.find('`', begin + 1);
      names.push_back(cell.substr(begin + 1, end - begin - 1));
      begin = cell.find('`', end + 1);
    }
  }
  return names;
}

/// What stands in fences of a language.
std::vector<std::string> blocks_of(const std::string& language) {
  std::vector<std::string> blocks;
  bool is_inside = false;
  for (const std::string& line : lines_of_page()) {
    if (line.starts_with("```")) {
      is_inside = line == "```" + language;
      if (is_inside) blocks.emplace_back();
    } else if (is_inside) {
      blocks.back() += line + "\n";
    }
  }
  return blocks;
}

class Document : public test::StoreTest {
 protected:
  Document() {
    std::vector<schedule::Source> sources;
    for (const char* const name : {"guideline.abs", "shapes.abs"}) {
      sources.push_back({name, test::text_of(std::string(KORVANE_EXAMPLES "/") + name)});
    }
    schedule::import_plan(project(), schedule::ImportPlan(std::move(sources), {}),
                          schedule::IfFilled::refuse);
  }
};

TEST_F(Document, ListsEveryViewWithItsColumns) {
  const LoadedConnection connection(file());
  const auto views =
      connection.rows("select name from sqlite_temp_master where type = 'view' order by rowid");
  EXPECT_THAT(views, SizeIs(7));
  for (const auto& view : views) {
    std::vector<std::string> columns;
    for (const auto& row :
         connection.rows("select name from pragma_table_info('" + *view[0] + "')")) {
      columns.push_back(*row[0]);
    }
    EXPECT_EQ(columns_of(*view[0]), columns) << *view[0];
  }
}

TEST_F(Document, ItsExamplesFindSomething) {
  const LoadedConnection connection(file());
  const auto examples = blocks_of("sql");
  EXPECT_GE(examples.size(), 5U);
  for (const std::string& example : examples) {
    EXPECT_THAT(connection.rows(example), Not(IsEmpty())) << example;
  }
}

TEST_F(Document, AGuidelineIsSeenWhole) {
  const LoadedConnection connection(file());
  EXPECT_EQ(connection.rows("select sheet, revision, count(*), sum(total_bars) from bars "
                            "where sheet = '417' group by 1, 2"),
            (test::Rows{{"417", "a", "16", "88"}}));
  EXPECT_EQ(connection.rows("select legs from bars where id = 1"),
            (test::Rows{{R"([{"length":400,"angle":90},{"length":600,"angle":0}])"}}));
  EXPECT_EQ(connection.rows("select distinct steel from bars where sheet = '417'"),
            (test::Rows{{"B500A"}, {"IV"}}));
  EXPECT_EQ(connection.rows("select fabric_type, sum(total_fabrics) from fabrics group by 1 "
                            "order by 1 limit 1"),
            (test::Rows{{"Q257", connection.value("select sum(total_fabrics) from fabrics where "
                                                  "type_name = 'Q257'")}}));
}

}  // namespace
}  // namespace korvane
