#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace korvane::tools {

/// A table of text in aligned columns, for a terminal. Texts are UTF-8; a code point is one cell
/// wide.
class TextTable {
 public:
  enum class Align { left, right };

  struct Column {
    std::string title;
    Align align = Align::left;
  };

  explicit TextTable(std::vector<Column> columns);

  /// Adds a row of as many cells as there are columns. They are printed as `printable` returns
  /// them.
  void add_row(std::vector<std::string> cells);

  /// Prints titles, a rule and the rows, with two blanks between columns and none at the end of a
  /// line.
  void print(std::ostream& output) const;

 private:
  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
};

/// `text` for one line of a terminal: `?` in place of control characters, which could move the
/// cursor or forge a line, and `\uFFFD` in place of what is not UTF-8.
std::string printable(std::string_view text);

/// A number without needless digits: "12", "0.888", "45.58". At most `decimals` digits after the
/// point, rounded.
std::string format_number(double value, int decimals = 3);

/// "1 bar mark", "12 bar marks".
std::string format_count(std::size_t count, const std::string& noun);

}  // namespace korvane::tools
