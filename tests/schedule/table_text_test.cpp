#include "schedule/table_text.h"

#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace korvane::schedule {
namespace {

Table table_of(std::vector<std::vector<Cell>> rows) {
  Table table;
  table.name = "things";
  table.columns = {{"name", "Name"}, {"size", "Size", Column::Kind::number, "mm"}};
  table.rows = std::move(rows);
  table.totals = {{std::string("in all"), 12.0}};
  table.notes = {"a note"};
  return table;
}

std::string csv(const Table& table) {
  std::ostringstream output;
  write_csv(table, output);
  return output.str();
}

std::string json(const Table& table) {
  std::ostringstream output;
  write_json(table, output);
  return output.str();
}

std::string ndjson(const Table& table) {
  std::ostringstream output;
  write_ndjson(table, output);
  return output.str();
}

TEST(WriteCsv, HasAHeaderAndLinesThatEndInCrLf) {
  EXPECT_EQ(csv(table_of({{"a", 1.5}, {"b", std::int64_t{7}}})), "name,size\r\na,1.5\r\nb,7\r\n");
}

TEST(WriteCsv, QuotesWhatWouldEndAFieldOrALine) {
  EXPECT_EQ(csv(table_of({{"a,b", {}}, {"say \"so\"", {}}, {"two\nlines", {}}, {"a;b c", {}}})),
            "name,size\r\n\"a,b\",\r\n\"say \"\"so\"\"\",\r\n\"two\nlines\",\r\na;b c,\r\n");
}

TEST(WriteCsv, TellsNoValueFromAnEmptyText) {
  EXPECT_EQ(csv(table_of({{"", {}}, {{}, 0.0}})), "name,size\r\n\"\",\r\n,0\r\n");
}

TEST(WriteCsv, LeavesTotalsAndNotesOut) { EXPECT_EQ(csv(table_of({})), "name,size\r\n"); }

TEST(WriteCsv, WritesNumbersThatReadBackAsTheSame) {
  std::mt19937_64 engine(13);
  for (int i = 0; i < 2000; ++i) {
    const double value = std::ldexp(static_cast<double>(engine()), static_cast<int>(i % 200) - 100);
    const std::string text = csv(table_of({{Cell(value), {}}}));
    EXPECT_EQ(std::strtod(text.c_str() + text.find('\n'), nullptr), value) << text;
  }
  EXPECT_EQ(csv(table_of({{0.1, 1e22}})), "name,size\r\n0.1,1e+22\r\n");
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(csv(table_of({{-infinity, -0.0}})), "name,size\r\n-inf,-0.0\r\n");
}

TEST(WriteJson, HasAnObjectByNamesForEachRow) {
  EXPECT_EQ(json(table_of({{"a", 1.5}, {{}, std::int64_t{7}}})),
            "[\n{\"name\":\"a\",\"size\":1.5},\n{\"name\":null,\"size\":7}\n]\n");
  EXPECT_EQ(json(table_of({})), "[]\n");
}

TEST(WriteJson, IsJsonWhateverTheCellsHold) {
  const std::string text = std::string("\"\\\n\x01", 4) + "\xC3\xA4\xFF";
  const double infinity = std::numeric_limits<double>::infinity();
  const auto read = nlohmann::json::parse(json(table_of({{text, infinity}})));
  EXPECT_EQ(read[0]["name"], std::string("\"\\\n\x01", 4) + "\xC3\xA4\xEF\xBF\xBD");
  EXPECT_TRUE(read[0]["size"].is_null());
}

TEST(WriteNdjson, HasAnObjectOnEachLine) {
  EXPECT_EQ(ndjson(table_of({{"a\nb", 1.0}, {"c", {}}})),
            "{\"name\":\"a\\nb\",\"size\":1}\n{\"name\":\"c\",\"size\":null}\n");
}

TEST(FormatNumber, HasNoNeedlessDigits) {
  EXPECT_EQ(format_number(12), "12");
  EXPECT_EQ(format_number(100), "100");
  EXPECT_EQ(format_number(0.888), "0.888");
  EXPECT_EQ(format_number(45.58), "45.58");
  EXPECT_EQ(format_number(45.58, 1), "45.6");
  EXPECT_EQ(format_number(-0.0001), "0");
}

}  // namespace
}  // namespace korvane::schedule
