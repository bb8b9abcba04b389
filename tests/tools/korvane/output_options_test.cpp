#include "tools/korvane/output_options.h"

#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace korvane::tools {
namespace {

using schedule::Cell;
using schedule::Column;
using schedule::Table;
using Tables = TablePrinter::Tables;

Table part(const std::string& name, const std::vector<std::string>& values) {
  Table table;
  table.name = name;
  table.title = name;
  table.columns = {{"value", "value", Column::Kind::text, ""}};
  for (const std::string& value : values) table.rows.push_back({value});
  return table;
}

std::string printed(Format format, Tables tables, const std::vector<Table>& parts) {
  std::ostringstream output;
  OutputOptions options;
  options.format = format;
  TablePrinter printer(options, tables, output);
  printer.print_heading("heading");
  for (const Table& each : parts) printer.print(each);
  printer.finish();
  return output.str();
}

const std::vector<Table> kParts = {part("a", {"1"}),      part("b", {}), part("c", {"x"}),
                                   part("a", {"2", "3"}), part("b", {}), part("c", {"y"})};

TEST(TablePrinter, JoinsThePartsOfEachTableInCsv) {
  EXPECT_EQ(printed(Format::csv, Tables::several, kParts),
            "value\r\n1\r\n2\r\n3\r\n\r\nvalue\r\nx\r\ny\r\n");
  // A first table that gets no rows, or gets them late.
  EXPECT_EQ(printed(Format::csv, Tables::several, {part("a", {}), part("b", {"1"})}),
            "value\r\n1\r\n");
  EXPECT_EQ(
      printed(Format::csv, Tables::several, {part("a", {}), part("b", {"1"}), part("a", {"2"})}),
      "value\r\n2\r\n\r\nvalue\r\n1\r\n");
}

TEST(TablePrinter, HasTheFirstHeaderInCsvIfThereAreNoRows) {
  EXPECT_EQ(printed(Format::csv, Tables::several, {part("a", {}), part("b", {})}), "value\r\n");
  EXPECT_EQ(printed(Format::csv, Tables::several, {}), "");
}

TEST(TablePrinter, PrintsAnObjectByTableNameAsJson) {
  EXPECT_EQ(nlohmann::json::parse(printed(Format::json, Tables::several, kParts)),
            nlohmann::json::parse(R"({"a":[{"value":"1"},{"value":"2"},{"value":"3"}],
                                      "b":[], "c":[{"value":"x"},{"value":"y"}]})"));
  EXPECT_EQ(printed(Format::json, Tables::several, {}), "{}\n");
}

TEST(TablePrinter, PrintsAnArrayAsJsonOfOneTable) {
  EXPECT_EQ(printed(Format::json, Tables::one, {part("a", {"1", "2"})}),
            "[\n{\"value\":\"1\"},\n{\"value\":\"2\"}\n]\n");
  EXPECT_EQ(printed(Format::json, Tables::one, {part("a", {})}), "[]\n");
  EXPECT_EQ(printed(Format::json, Tables::one, {}), "[]\n");
}

TEST(TablePrinter, NamesTheTableInNdjsonOfSeveral) {
  EXPECT_EQ(printed(Format::ndjson, Tables::several, {part("a", {"1"}), part("c", {"x"})}),
            "{\"table\":\"a\",\"value\":\"1\"}\n{\"table\":\"c\",\"value\":\"x\"}\n");
  EXPECT_EQ(printed(Format::ndjson, Tables::one, {part("a", {"1"})}), "{\"value\":\"1\"}\n");
}

TEST(TablePrinter, SeparatesWhatPeopleReadByEmptyLines) {
  EXPECT_EQ(printed(Format::table, Tables::several, {part("a", {"1"}), part("b", {})}),
            "heading\n\na\nvalue\n-----\n1\n\nb: none\n");
}

}  // namespace
}  // namespace korvane::tools
