#include "tools/korvane/terminal_text.h"

#include <sstream>

#include <gtest/gtest.h>

namespace korvane::tools {
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

TEST(Printable, HasNoCharacterThatMovesACursorOrEndsALine) {
  EXPECT_EQ(printable("a\x1b[2Jb\nc\td\x7f"), "a?[2Jb?c?d?");
  EXPECT_EQ(printable("\xC2\x9B"
                      "31m \u00fc \u2026"),
            "?31m \u00fc \u2026");
  EXPECT_EQ(printable(std::string_view("\0x", 2)), "?x");
}

TEST(PrintTextTable, PrintsCellsOnOneLineWhateverTheyHold) {
  TextTable table({{"name"}});
  table.add_row({"a\nb\x1b[1m"});
  std::ostringstream text;
  table.print(text);
  EXPECT_EQ(text.str(), "name\n-------\na?b?[1m\n");
}

TEST(FormatNumber, HasNoNeedlessDigits) {
  EXPECT_EQ(format_number(12), "12");
  EXPECT_EQ(format_number(100), "100");
  EXPECT_EQ(format_number(0.888), "0.888");
  EXPECT_EQ(format_number(45.58), "45.58");
  EXPECT_EQ(format_number(-0.0001), "0");
}

}  // namespace
}  // namespace korvane::tools
