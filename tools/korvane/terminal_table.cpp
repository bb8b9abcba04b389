#include "tools/korvane/terminal_table.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iomanip>
#include <optional>
#include <sstream>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>
#include <variant>
#include <vector>

#include "tools/korvane/terminal_text.h"

namespace korvane::tools {

using schedule::Cell;
using schedule::Column;
using schedule::Table;

namespace {

constexpr std::size_t kDefaultWidth = 80;
/// Texts become that narrow if all columns fit then, and else no narrower than is read with ease.
constexpr std::size_t kNarrowText = 12;
constexpr std::size_t kReadableText = 20;
/// Wider than any line.
constexpr std::size_t kEndless = std::size_t{1} << 30U;
constexpr std::string_view kGap = "  ";
constexpr std::string_view kIndent = "    ";

constexpr std::string_view kBold = "\x1b[1m";
constexpr std::string_view kFaint = "\x1b[2m";
constexpr std::string_view kPlain = "\x1b[0m";

/// A column as it is printed.
struct PrintedColumn {
  const Column* column;
  std::string title;
  std::vector<std::string> cells;
  std::vector<std::string> totals;
  /// Of the longest word of its title, and its unit.
  std::size_t title_width = 0;
  /// Of that and of its widest cell.
  std::size_t natural_width = 0;
  std::size_t width = 0;

  /// Texts may wrap, down to that width.
  std::size_t narrowest(std::size_t text_width) const {
    return is_number() ? natural_width : std::max(title_width, std::min(natural_width, text_width));
  }
  bool is_number() const { return column->kind == Column::Kind::number; }
};

/// Whether people see a value there.
bool has_value(const Column& column, const Cell& cell) {
  if (column.hides_zero && (cell == Cell(std::int64_t{0}) || cell == Cell(0.0))) return false;
  return !std::holds_alternative<std::monostate>(cell);
}

std::string fixed(double value, int decimals) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(decimals) << value;
  return text.str();
}

/// As many digits after the point as the values need, and no more than people do. None for a
/// column of texts, where each number stands for itself.
std::optional<int> decimals_of(const Table& table, std::size_t index) {
  if (table.columns[index].kind == Column::Kind::text) return std::nullopt;
  int decimals = 0;
  const int most = table.columns[index].decimals;
  for (const auto* rows : {&table.rows, &table.totals}) {
    for (const auto& row : *rows) {
      const double* const value = std::get_if<double>(&row[index]);
      if (value == nullptr) continue;
      const std::string text = format_number(*value, most);
      const std::size_t point = text.find('.');
      if (point != std::string::npos) {
        decimals = std::max(decimals, static_cast<int>(text.size() - point) - 1);
      }
    }
  }
  return decimals;
}

std::string text_of(const Cell& cell, const std::optional<int>& decimals) {
  if (const auto* const text = std::get_if<std::string>(&cell)) return printable(*text);
  if (const auto* const count = std::get_if<std::int64_t>(&cell)) return std::to_string(*count);
  if (const auto* const number = std::get_if<double>(&cell)) {
    if (!decimals) return format_number(*number, 6);
    const std::string text = fixed(*number, *decimals);
    return text.find_first_not_of("-0.") == std::string::npos ? fixed(0, *decimals) : text;
  }
  return {};
}

std::size_t widest_of(const std::vector<std::string>& texts) {
  std::size_t width = 0;
  for (const std::string& text : texts) width = std::max(width, width_of(text));
  return width;
}

/// The columns that have a value, in order.
std::vector<PrintedColumn> columns_of(const Table& table) {
  std::vector<PrintedColumn> columns;
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    const Column& column = table.columns[i];
    const bool is_empty = std::none_of(table.rows.begin(), table.rows.end(),
                                       [&](const auto& row) { return has_value(column, row[i]); });
    if (column.is_for_programs || (is_empty && column.if_none.empty())) continue;
    PrintedColumn printed{&column, printable(column.title), {}, {}};
    const std::optional<int> decimals = decimals_of(table, i);
    for (const auto& row : table.rows) {
      printed.cells.push_back(has_value(column, row[i]) ? text_of(row[i], decimals)
                                                        : column.if_none);
    }
    for (const auto& row : table.totals) {
      printed.totals.push_back(has_value(column, row[i]) ? text_of(row[i], decimals)
                                                         : column.if_none);
    }
    printed.title_width = std::max(width_of(column.unit), std::size_t{2});
    std::istringstream words(printed.title);
    for (std::string word; words >> word;) {
      printed.title_width = std::max(printed.title_width, width_of(word));
    }
    printed.natural_width =
        std::max({printed.title_width, widest_of(printed.cells), widest_of(printed.totals)});
    columns.push_back(std::move(printed));
  }
  return columns;
}

/// How many of the first columns fit if texts are no narrower than that.
std::size_t count_fitting(const std::vector<PrintedColumn>& columns, std::size_t narrowest_text,
                          std::size_t width) {
  std::size_t used = 0;
  for (std::size_t count = 0; count < columns.size(); ++count) {
    used += columns[count].narrowest(narrowest_text) + (count == 0 ? 0 : kGap.size());
    if (used > width && count != 0) return count;
  }
  return columns.size();
}

/// Gives each column its narrowest width and a fair share of what is left.
void share_width(std::vector<PrintedColumn>& columns, std::size_t narrowest_text,
                 std::size_t width) {
  std::size_t used = kGap.size() * (columns.size() - 1);
  for (PrintedColumn& column : columns) {
    column.width = column.narrowest(narrowest_text);
    used += column.width;
  }
  std::size_t spare = width > used ? width - used : 0;
  for (bool is_shared = true; is_shared && spare != 0;) {
    is_shared = false;
    for (PrintedColumn& column : columns) {
      if (spare == 0 || column.width >= column.natural_width) continue;
      ++column.width;
      --spare;
      is_shared = true;
    }
  }
}

/// Decides which columns stand side by side, and how wide each is. The others are left in
/// `columns`.
std::vector<PrintedColumn> take_fitting(std::vector<PrintedColumn>& columns, std::size_t width) {
  const bool fits_when_narrow = count_fitting(columns, kNarrowText, width) == columns.size();
  const std::size_t narrowest = fits_when_narrow ? kNarrowText : kReadableText;
  const auto count = static_cast<std::ptrdiff_t>(count_fitting(columns, narrowest, width));
  const auto end = columns.begin() + count;
  std::vector<PrintedColumn> fitting(std::make_move_iterator(columns.begin()),
                                     std::make_move_iterator(end));
  columns.erase(columns.begin(), end);
  if (fitting.empty()) return fitting;
  share_width(fitting, narrowest, width);
  if (fitting.size() == 1)
    fitting[0].width = std::min(fitting[0].width, std::max<std::size_t>(width, 2));
  return fitting;
}

std::size_t usable_width(const Terminal& terminal) {
  return terminal.width == 0 ? kEndless : terminal.width;
}

class Printer {
 public:
  Printer(const Terminal& terminal, std::ostream& output)
      : width_(usable_width(terminal)), has_colours_(terminal.has_colours), output_(output) {}

  /// Cells side by side, each wrapped within its column; the lines end at the same line if
  /// `from_below`.
  void print_cells(const std::vector<PrintedColumn>& columns, const std::vector<std::string>& cells,
                   bool from_below = false) {
    std::vector<std::vector<std::string>> lines;
    std::size_t height = 1;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      lines.push_back(lines_of(cells[i], columns[i].width));
      height = std::max(height, lines.back().size());
    }
    for (std::size_t line = 0; line < height; ++line) {
      std::string text;
      for (std::size_t i = 0; i < columns.size(); ++i) {
        const std::size_t skipped = from_below ? height - lines[i].size() : 0;
        const bool is_there = line >= skipped && line - skipped < lines[i].size();
        const std::string& piece = is_there ? lines[i][line - skipped] : kNothing;
        const std::size_t size = width_of(piece);
        const std::string padding(columns[i].width > size ? columns[i].width - size : 0, ' ');
        if (i != 0) text += kGap;
        text += columns[i].is_number() ? padding + piece : piece + padding;
      }
      print_line(std::move(text));
    }
  }

  void print_rule(const std::vector<PrintedColumn>& columns) {
    std::string text;
    for (const PrintedColumn& column : columns) {
      if (!text.empty()) text += kGap;
      text += std::string(column.width, '-');
    }
    print_line(std::move(text));
  }

  /// Texts one after another, with line ends between them where one does not fit.
  void print_pieces(const std::vector<std::string>& pieces, std::string_view indent,
                    std::string_view style) {
    const std::size_t width = std::max(width_ - std::min(width_, indent.size()), kReadableText);
    std::string line;
    const auto print = [&] {
      for (const std::string& part : lines_of(line, width)) {
        print_styled(std::string(indent) + part, style);
      }
    };
    for (const std::string& piece : pieces) {
      if (!line.empty()) line += ';';
      if (!line.empty() && width_of(line) + 2 + width_of(piece) > width) {
        print();
        line.clear();
      }
      line += (line.empty() ? "" : " ") + piece;
    }
    if (!line.empty()) print();
  }

  void print_styled(const std::string& text, std::string_view style) {
    if (has_colours_ && !style.empty()) {
      output_ << style << text << kPlain << '\n';
    } else {
      output_ << text << '\n';
    }
  }

 private:
  inline static const std::string kNothing;

  void print_line(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    output_ << text << '\n';
  }

  std::size_t width_;
  bool has_colours_;
  std::ostream& output_;
};

std::string piece_of(const PrintedColumn& column, const std::string& cell) {
  std::string value = cell;
  if (column.is_number() && value.find('.') != std::string::npos) {
    // It does not stand in a column here.
    value.erase(value.find_last_not_of('0') + 1);
    if (value.back() == '.') value.pop_back();
  }
  return column.title + (column.is_number() ? " " : ": ") + value +
         (column.column->unit.empty() ? "" : " " + column.column->unit);
}

std::vector<std::string> pieces_of(const std::vector<PrintedColumn>& columns, std::size_t row,
                                   std::vector<std::string> PrintedColumn::*cells) {
  std::vector<std::string> pieces;
  for (const PrintedColumn& column : columns) {
    const std::string& cell = (column.*cells)[row];
    if (!cell.empty()) pieces.push_back(piece_of(column, cell));
  }
  return pieces;
}

std::vector<std::string> cells_of(const std::vector<PrintedColumn>& columns, std::size_t row,
                                  std::vector<std::string> PrintedColumn::*cells) {
  std::vector<std::string> texts;
  for (const PrintedColumn& column : columns) texts.push_back((column.*cells)[row]);
  return texts;
}

/// Takes the columns that have the same value in all rows of several.
std::vector<std::string> take_common(std::vector<PrintedColumn>& columns) {
  std::vector<std::string> pieces;
  std::erase_if(columns, [&](const PrintedColumn& column) {
    const auto& cells = column.cells;
    const bool is_common =
        cells.size() > 1 && std::equal(cells.begin() + 1, cells.end(), cells.begin());
    if (is_common) pieces.push_back(piece_of(column, cells.front()));
    return is_common;
  });
  return pieces;
}

void print_header(const std::vector<PrintedColumn>& columns, Printer& printer) {
  std::vector<std::string> titles;
  std::vector<std::string> units;
  bool has_units = false;
  for (const PrintedColumn& column : columns) {
    titles.push_back(column.title);
    units.push_back(column.column->unit);
    has_units = has_units || !column.column->unit.empty();
  }
  printer.print_cells(columns, titles, true);
  if (has_units) printer.print_cells(columns, units);
  printer.print_rule(columns);
}

}  // namespace

Terminal standard_terminal() {
  Terminal terminal;
  terminal.width = kDefaultWidth;
  const bool is_terminal = ::isatty(STDOUT_FILENO) != 0;
  winsize size{};
  const char* const columns = std::getenv("COLUMNS");
  const long stated = columns == nullptr ? 0 : std::strtol(columns, nullptr, 10);
  if (is_terminal && ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    terminal.width = size.ws_col;
  } else if (stated > 0) {
    terminal.width = static_cast<std::size_t>(stated);
  }
  const char* const no_color = std::getenv("NO_COLOR");
  terminal.has_colours = is_terminal && (no_color == nullptr || *no_color == '\0');
  return terminal;
}

void print_table(const Table& table, const Terminal& terminal, std::ostream& output) {
  Printer printer(terminal, output);
  if (!table.title.empty()) {
    printer.print_pieces({printable(table.title) + (table.rows.empty() ? ": none" : "")}, "",
                         kBold);
  }
  if (!table.rows.empty()) {
    std::vector<PrintedColumn> rest = columns_of(table);
    const std::vector<PrintedColumn> columns = take_fitting(rest, usable_width(terminal));
    const std::vector<std::string> common = take_common(rest);
    if (!common.empty()) {
      std::vector<std::string> pieces = common;
      pieces.front() = "all: " + pieces.front();
      printer.print_pieces(pieces, "", kFaint);
    }
    print_header(columns, printer);
    for (std::size_t row = 0; row < table.rows.size(); ++row) {
      printer.print_cells(columns, cells_of(columns, row, &PrintedColumn::cells));
      printer.print_pieces(pieces_of(rest, row, &PrintedColumn::cells), kIndent, kFaint);
    }
    if (!table.totals.empty()) printer.print_rule(columns);
    for (std::size_t row = 0; row < table.totals.size(); ++row) {
      printer.print_cells(columns, cells_of(columns, row, &PrintedColumn::totals));
      printer.print_pieces(pieces_of(rest, row, &PrintedColumn::totals), kIndent, kFaint);
    }
  }
  for (const std::string& note : table.notes) printer.print_pieces({printable(note)}, "", "");
}

void print_heading(const std::string& text, const Terminal& terminal, std::ostream& output) {
  Printer(terminal, output).print_pieces({printable(text)}, "", kBold);
}

}  // namespace korvane::tools
