#include "tools/korvane/text_table.h"

#include <sstream>

#include <gtest/gtest.h>

namespace korvane::tool {
namespace {

using Align = TextTable::Align;

TEST(PrintTextTable, AlignsColumnsByTheirWidestCell) {
  TextTable table({{"mark", Align::left}, {"count", Align::right}, {"steel", Align::left}});
  table.add_row({"1", "1200", "B500A"});
  table.add_row({"10.12", "8", ""});
  std::ostringstream output;
  table.print(output);
  EXPECT_EQ(output.str(),
            "mark   count  steel\n"
            "-----  -----  -----\n"
            "1       1200  B500A\n"
            "10.12      8\n");
}

TEST(PrintTextTable, CountsCodePointsAndNotBytes) {
  TextTable table({{"legs", Align::right}, {"x", Align::left}});
  table.add_row({"90°", "a"});
  table.add_row({"1234", "b"});
  std::ostringstream output;
  table.print(output);
  EXPECT_EQ(output.str(),
            "legs  x\n"
            "----  -\n"
            " 90°  a\n"
            "1234  b\n");
}

TEST(FormatNumber, HasNoNeedlessDigits) {
  EXPECT_EQ(format_number(12), "12");
  EXPECT_EQ(format_number(100), "100");
  EXPECT_EQ(format_number(0.888), "0.888");
  EXPECT_EQ(format_number(45.58), "45.58");
  EXPECT_EQ(format_number(-0.0001), "0");
}

}  // namespace
}  // namespace korvane::tool
