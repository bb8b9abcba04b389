#include "tools/korvane/terminal_table.h"

#include <cstdlib>
#include <fcntl.h>
#include <pty.h>
#include <random>
#include <sstream>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/korvane/terminal_text.h"

namespace korvane::tools {
namespace {

using schedule::Cell;
using schedule::Column;
using schedule::Table;
using testing::HasSubstr;
using testing::Not;
using Kind = Column::Kind;

std::string printed(const Table& table, std::size_t width, bool has_colours = false) {
  std::ostringstream output;
  print_table(table, {width, has_colours}, output);
  return output.str();
}

Cell count(std::int64_t value) { return value; }

Table bars() {
  Table table;
  table.title = "Bars";
  table.columns = {{"mark", "mark", Kind::text, ""},
                   {"pieces", "pieces", Kind::number, "", 0},
                   {"mass", "weight", Kind::number, "kg", 2},
                   {"legs", "legs", Kind::text, ""}};
  table.rows = {{"1", count(10), 8.876, "400 (90°) 600"}, {"10.1", count(8), 0.5, "200"}};
  return table;
}

TEST(PrintTable, AlignsNumbersAtTheirPointsUnderTheirUnits) {
  EXPECT_EQ(printed(bars(), 80),
            "Bars\n"
            "mark  pieces  weight  legs\n"
            "                  kg\n"
            "----  ------  ------  -------------\n"
            "1         10    8.88  400 (90°) 600\n"
            "10.1       8    0.50  200\n");
}

TEST(PrintTable, HasNoMoreDigitsThanTheValuesNeed) {
  Table table = bars();
  table.rows[0][2] = 8.0;
  EXPECT_THAT(printed(table, 80), HasSubstr("1         10     8.0  400"));
  table.rows[1][2] = -0.0001;
  EXPECT_THAT(printed(table, 80), HasSubstr("10.1       8       0  200"));
}

TEST(PrintTable, WrapsTextsWhereAllColumnsFitThen) {
  EXPECT_EQ(printed(bars(), 34),
            "Bars\n"
            "mark  pieces  weight  legs\n"
            "                  kg\n"
            "----  ------  ------  ------------\n"
            "1         10    8.88  400 (90°)\n"
            "                      600\n"
            "10.1       8    0.50  200\n");
}

TEST(PrintTable, PutsWhatDoesNotFitUnderItsRow) {
  EXPECT_EQ(printed(bars(), 25),
            "Bars\n"
            "mark  pieces  weight\n"
            "                  kg\n"
            "----  ------  ------\n"
            "1         10    8.88\n"
            "    legs: 400 (90°) 600\n"
            "10.1       8    0.50\n"
            "    legs: 200\n");
  EXPECT_EQ(printed(bars(), 15),
            "Bars\n"
            "mark  pieces\n"
            "----  ------\n"
            "1         10\n"
            "    weight 8.88 kg;\n"
            "    legs: 400 (90°) 600\n"
            "10.1       8\n"
            "    weight 0.5 kg;\n"
            "    legs: 200\n");
}

TEST(PrintTable, SaysOnceWhatIsTheSameInAllRows) {
  Table table = bars();
  table.rows[1][3] = table.rows[0][3];
  EXPECT_EQ(printed(table, 25),
            "Bars\n"
            "all: legs: 400 (90°) 600\n"
            "mark  pieces  weight\n"
            "                  kg\n"
            "----  ------  ------\n"
            "1         10    8.88\n"
            "10.1       8    0.50\n");
}

TEST(PrintTable, PrintsAllOnOneLineIfLinesMayHaveAnyLength) {
  Table table = bars();
  table.rows[0][3] = std::string(500, 'x') + " y";
  EXPECT_THAT(printed(table, 0), HasSubstr(std::string(500, 'x') + " y\n"));
}

TEST(PrintTable, LeavesOutWhatIsEmptyOrForPrograms) {
  Table table = bars();
  for (auto& row : table.rows) row[3] = Cell();
  EXPECT_THAT(printed(table, 80), Not(HasSubstr("legs")));
  table.columns[2].is_for_programs = true;
  EXPECT_THAT(printed(table, 80), Not(HasSubstr("weight")));
  table.columns[1].hides_zero = true;
  table.rows[0][1] = count(0);
  EXPECT_THAT(printed(table, 80), HasSubstr("\n1\n10.1       8\n"));
  table.rows[1][1] = count(0);
  EXPECT_THAT(printed(table, 80), Not(HasSubstr("pieces")));
}

TEST(PrintTable, SaysWhatIsUnknown) {
  Table table = bars();
  table.columns[2].if_none = "unknown";
  for (auto& row : table.rows) row[2] = Cell();
  EXPECT_THAT(printed(table, 80), HasSubstr("1         10  unknown  400 (90°) 600\n"));
}

TEST(PrintTable, HasTotalsBelowARuleAndNotes) {
  Table table = bars();
  table.totals = {{"total", count(18), 9.376, {}}};
  table.notes = {"1 mark is a note that is longer than the line."};
  EXPECT_EQ(printed(table, 35),
            "Bars\n"
            "mark   pieces  weight  legs\n"
            "                   kg\n"
            "-----  ------  ------  ------------\n"
            "1          10    8.88  400 (90°)\n"
            "                       600\n"
            "10.1        8    0.50  200\n"
            "-----  ------  ------  ------------\n"
            "total      18    9.38\n"
            "1 mark is a note that is longer\n"
            "than the line.\n");
}

TEST(PrintTable, BreaksTitlesOfSeveralWords) {
  Table table = bars();
  table.columns[1].title = "number of pieces";
  EXPECT_EQ(printed(table, 80),
            "Bars\n"
            "      number\n"
            "          of\n"
            "mark  pieces  weight  legs\n"
            "                  kg\n"
            "----  ------  ------  -------------\n"
            "1         10    8.88  400 (90°) 600\n"
            "10.1       8    0.50  200\n");
}

TEST(PrintTable, CountsTheCellsOfWideAndCombiningCharacters) {
  Table table = bars();
  table.rows[0][0] = "\u4E2D\u6587";
  table.rows[1][0] = "e\u0301";
  EXPECT_THAT(printed(table, 80), HasSubstr("\u4E2D\u6587      10"));
  EXPECT_THAT(printed(table, 80), HasSubstr("e\u0301          8"));
}

TEST(PrintTable, PrintsCellsOnOneLineWhateverTheyHold) {
  Table table = bars();
  table.rows[0][3] = "a\nb\x1b[1m";
  EXPECT_THAT(printed(table, 80), HasSubstr("a?b?[1m\n"));
}

TEST(PrintTable, HasColoursOnlyWhereTheTerminalHas) {
  EXPECT_THAT(printed(bars(), 15, true), HasSubstr("\x1b[1mBars\x1b[0m\n"));
  EXPECT_THAT(printed(bars(), 15, true), HasSubstr("\x1b[2m    legs: 200\x1b[0m\n"));
  EXPECT_THAT(printed(bars(), 15), Not(HasSubstr("\x1b")));
}

TEST(PrintTable, SaysThatThereIsNothing) {
  Table table = bars();
  table.rows.clear();
  EXPECT_EQ(printed(table, 80), "Bars: none\n");
}

/// Whatever the table, no line is longer than the terminal, unless a number is.
TEST(PrintTable, KeepsToTheWidth) {
  std::mt19937 engine(13);
  const auto below = [&](std::uint32_t limit) { return engine() % limit; };
  for (int i = 0; i < 300; ++i) {
    SCOPED_TRACE(i);
    Table table;
    table.title = "Things";
    const std::size_t columns = 1 + below(9);
    for (std::size_t c = 0; c < columns; ++c) {
      table.columns.push_back({"c", "a title", below(2) == 0 ? Kind::text : Kind::number, "mm", 2});
    }
    for (std::size_t r = below(5); r > 0; --r) {
      auto& row = table.rows.emplace_back();
      for (const Column& column : table.columns) {
        if (below(4) == 0) {
          row.emplace_back();
        } else if (column.kind == Kind::number) {
          row.emplace_back(static_cast<double>(below(100000)) / 8);
        } else {
          std::string text;
          for (std::size_t words = below(6); words > 0; --words) {
            text += std::string(below(30), 'x') + " ";
          }
          row.emplace_back(text);
        }
      }
    }
    const std::size_t width = 24 + below(100);
    std::istringstream lines(printed(table, width));
    for (std::string line; std::getline(lines, line);) EXPECT_LE(width_of(line), width) << line;
  }
}

/// Another file in place of the standard output, for as long as it lives.
class Output {
 public:
  /// Takes the descriptor.
  explicit Output(int other) : former_(::dup(STDOUT_FILENO)) {
    EXPECT_GE(::dup2(other, STDOUT_FILENO), 0);
    ::close(other);
  }
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  ~Output() {
    ::dup2(former_, STDOUT_FILENO);
    ::close(former_);
  }

 private:
  int former_;
};

/// A terminal in its place.
class TerminalAsOutput {
 public:
  explicit TerminalAsOutput(unsigned short columns) : output_(terminal(columns)) {}
  TerminalAsOutput(const TerminalAsOutput&) = delete;
  TerminalAsOutput& operator=(const TerminalAsOutput&) = delete;
  ~TerminalAsOutput() { ::close(controller_); }

 private:
  int terminal(unsigned short columns) {
    winsize size{};
    size.ws_col = columns;
    int end = -1;
    EXPECT_EQ(::openpty(&controller_, &end, nullptr, nullptr, &size), 0);
    return end;
  }

  int controller_ = -1;
  Output output_;
};

/// Sets variables of the environment and puts them back.
class Environment {
 public:
  Environment(const char* columns, const char* no_color) {
    ::setenv("COLUMNS", columns, 1);
    ::setenv("NO_COLOR", no_color, 1);
  }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  ~Environment() {
    ::unsetenv("COLUMNS");
    ::unsetenv("NO_COLOR");
  }
};

TEST(StandardTerminal, IsAsWideAsColumnsSaysWithoutATerminal) {
  const Output output(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  const auto width = [](const char* columns) {
    const Environment environment(columns, "");
    EXPECT_FALSE(standard_terminal().has_colours);
    return standard_terminal().width;
  };
  EXPECT_EQ(width("120"), 120U);
  EXPECT_EQ(width("-3"), 80U);
  EXPECT_EQ(width("wide"), 80U);
}

TEST(StandardTerminal, KnowsATerminalAndItsWidth) {
  const auto terminal = [](unsigned short columns, const char* no_color) {
    const Environment environment("70", no_color);
    const TerminalAsOutput output(columns);
    return standard_terminal();
  };
  EXPECT_EQ(terminal(123, "").width, 123U);
  EXPECT_TRUE(terminal(123, "").has_colours);
  EXPECT_FALSE(terminal(123, "1").has_colours);
  // A serial line does not know how wide it is.
  EXPECT_EQ(terminal(0, "").width, 70U);
}

}  // namespace
}  // namespace korvane::tools
