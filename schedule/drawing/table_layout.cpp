#include "schedule/drawing/table_layout.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <utility>

#include "schedule/drawing/fonts.h"
#include "schedule/drawing/wrapped_text.h"
#include "schedule/table_text.h"

namespace korvane::schedule::drawing {

namespace {

/// Between a text and the sides of its cell.
constexpr double kPadding = 1.1;
/// From the upper side of a row to the first baseline, and from there to the lower side.
constexpr double kFirstBaseline = 4.2;
constexpr double kBelowText = 1.6;
constexpr double kLinePitch = 3.7;
constexpr double kSmallPitch = 3.4;
constexpr double kTitleSize = 3.4;
constexpr std::size_t kMostCellLines = 4;
/// Of all remarks of a row together.
constexpr std::size_t kMostRemarkLines = 36;
/// The least size of a number that does not fit, as a part of the usual.
constexpr double kLeastScale = 0.6;
constexpr double kLargest = 1e9;
constexpr int kMostDecimals = 3;

double anchor_of(const PaperColumn& column, double left) {
  switch (column.align) {
    case Align::left:
      return left + kPadding;
    case Align::centre:
      return left + column.width / 2;
    case Align::right:
      return left + column.width - kPadding;
  }
  return left;
}

void add_line(Block& block, double y, double width, Ink ink = Ink::grey,
              double thickness = kHairline) {
  block.picture.strokes.push_back({path_through({{0, y}, {width, y}}), thickness, ink});
}

/// A title as lines of small bold type.
std::vector<std::string> title_lines(const PaperColumn& column) {
  return wrapped(column.title, column.width - 2 * kPadding, kSmallSize, true, 3).lines;
}

std::string capitalized(std::string title) {
  if (!title.empty() && title[0] >= 'a' && title[0] <= 'z') {
    title[0] = static_cast<char>(title[0] - 'a' + 'A');
  }
  return title;
}

std::vector<PaperColumn> paper_columns(const std::vector<std::pair<Column, std::size_t>>& shown) {
  constexpr double kWidestNumber = 24;
  constexpr double kNarrowText = 30;
  constexpr double kWideText = 60;
  std::size_t texts = 0;
  for (const auto& [column, index] : shown) texts += column.kind == Column::Kind::text ? 1 : 0;
  const double text_width = texts > 1 ? kNarrowText : kWideText;
  const double rest = kContentWidth - text_width * static_cast<double>(texts);
  const double number_width = std::min(
      kWidestNumber, rest / static_cast<double>(std::max<std::size_t>(shown.size() - texts, 1)));
  std::vector<PaperColumn> columns;
  for (const auto& [column, index] : shown) {
    const bool is_number = column.kind == Column::Kind::number;
    columns.push_back({capitalized(column.title), column.unit,
                       is_number ? number_width : text_width,
                       is_number ? Align::right : Align::left, is_number});
  }
  return columns;
}

bool is_nothing(const Cell& cell) {
  if (const auto* const number = std::get_if<double>(&cell)) return *number == 0;
  if (const auto* const count = std::get_if<std::int64_t>(&cell)) return *count == 0;
  return std::holds_alternative<std::monostate>(cell);
}

std::string cell_text(const Column& column, const Cell& cell, bool is_total) {
  if (column.hides_zero && is_nothing(cell)) return {};
  if (std::holds_alternative<std::monostate>(cell)) return is_total ? "" : column.if_none;
  if (const auto* const text = std::get_if<std::string>(&cell)) return *text;
  if (const auto* const count = std::get_if<std::int64_t>(&cell)) return std::to_string(*count);
  const double number = std::get<double>(cell);
  // Diameters have digits after the point by exception.
  return paper_number(number, column.decimals > 2 ? decimals_of(number) : column.decimals);
}

}  // namespace

std::string paper_number(const std::optional<double>& number, int decimals) {
  if (!number || !std::isfinite(*number)) return {};
  std::array<char, 64> buffer{};
  char* const end = buffer.data() + buffer.size();
  const auto written =
      std::abs(*number) < kLargest
          ? std::to_chars(buffer.data(), end, *number, std::chars_format::fixed, decimals)
          : std::to_chars(buffer.data(), end, *number, std::chars_format::general, 4);
  return {buffer.data(), written.ptr};
}

int decimals_of(const std::optional<double>& number) {
  if (!number) return 0;
  const std::string text = format_number(*number, kMostDecimals);
  const std::size_t point = text.find('.');
  return point == std::string::npos ? 0 : static_cast<int>(text.size() - point - 1);
}

TableLayout::TableLayout(std::vector<PaperColumn> columns, bool has_sketch)
    : columns_(std::move(columns)), has_sketch_(has_sketch) {}

TableLayout::TableLayout(const Table& table) {
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    const Column& column = table.columns[i];
    const bool is_empty =
        column.hides_zero && std::all_of(table.rows.begin(), table.rows.end(),
                                         [&](const auto& row) { return is_nothing(row[i]); });
    if (!is_empty && !column.is_for_programs) shown_.emplace_back(column, i);
  }
  columns_ = paper_columns(shown_);
}

Block TableLayout::head(const std::string& title) const {
  constexpr double kAboveTitle = 3;
  Block block;
  double top = kAboveTitle + kTitleSize + 1.4;
  block.picture.texts.push_back({{0, top - 1.4}, title, kTitleSize, Align::left, true});
  std::size_t lines = 1;
  bool has_units = false;
  for (const PaperColumn& column : columns_) {
    lines = std::max(lines, title_lines(column).size());
    has_units = has_units || !column.unit.empty();
  }
  const double height =
      kBelowText + kSmallPitch * static_cast<double>(lines + (has_units ? 1 : 0)) + 0.6;
  double width = has_sketch_ ? kContentWidth : 0;
  if (!has_sketch_) {
    for (const PaperColumn& column : columns_) width += column.width;
  }
  block.picture.strokes.push_back({rectangle({0, top}, width, height), 0, Ink::light, true});
  add_line(block, top, width, Ink::black, 0.2);
  add_line(block, top + height, width, Ink::black, 0.2);
  double left = 0;
  for (const PaperColumn& column : columns_) {
    double baseline = top + kSmallPitch;
    for (const std::string& line : title_lines(column)) {
      block.picture.texts.push_back(
          {{anchor_of(column, left), baseline}, line, kSmallSize, column.align, true});
      baseline += kSmallPitch;
    }
    if (!column.unit.empty()) {
      block.picture.texts.push_back({{anchor_of(column, left), top + height - kBelowText},
                                     column.unit,
                                     kSmallSize,
                                     column.align});
    }
    left += column.width;
  }
  if (has_sketch_) {
    block.picture.texts.push_back(
        {{left + kPadding, top + kSmallPitch}, "Shape", kSmallSize, Align::left, true});
  }
  block.picture.width = kContentWidth;
  block.picture.height = top + height;
  return block;
}

bool TableLayout::add_cell(Block& block, const PaperColumn& column, const PaperCell& cell,
                           double left, double& bottom) const {
  const double room = column.width - 2 * kPadding;
  const double x = anchor_of(column, left);
  double baseline = kFirstBaseline;
  bool is_whole = true;
  if (column.is_number && !cell.text.empty()) {
    const double width = text_width(cell.text, kValueSize, cell.is_bold);
    const double scale = width > room ? std::max(kLeastScale, room / width) : 1;
    block.picture.texts.push_back(
        {{x, baseline}, cell.text, kValueSize * scale, column.align, cell.is_bold});
  } else {
    const WrappedText text = wrapped(cell.text, room, kValueSize, cell.is_bold, kMostCellLines);
    is_whole = !text.is_shortened;
    for (const std::string& line : text.lines) {
      block.picture.texts.push_back({{x, baseline}, line, kValueSize, column.align, cell.is_bold});
      baseline += kLinePitch;
    }
    if (!text.lines.empty()) baseline -= kLinePitch;
  }
  const WrappedText below = wrapped(cell.below, room, kSmallSize, false, 2);
  block.is_shortened = block.is_shortened || below.is_shortened;
  for (const std::string& line : below.lines) {
    baseline += kSmallPitch;
    block.picture.texts.push_back({{x, baseline}, line, kSmallSize, column.align});
  }
  bottom = std::max(bottom, baseline);
  return is_whole;
}

void TableLayout::add_remarks(Block& block, const std::vector<std::string>& remarks, double width,
                              double& bottom) const {
  std::size_t lines = 0;
  if (!remarks.empty()) bottom += 0.8;
  for (const std::string& remark : remarks) {
    if (lines == kMostRemarkLines) {
      block.is_shortened = true;
      return;
    }
    const WrappedText text =
        wrapped(remark, width - 2 * kPadding, kSmallSize, false, kMostRemarkLines - lines);
    block.is_shortened = block.is_shortened || text.is_shortened;
    lines += text.lines.size();
    for (const std::string& line : text.lines) {
      bottom += kSmallPitch;
      block.picture.texts.push_back({{kPadding, bottom}, line, kSmallSize});
    }
  }
}

Block TableLayout::row(const PaperRow& row) const {
  Block block;
  double bottom = kFirstBaseline;
  double left = 0;
  std::vector<std::string> remarks;
  for (std::size_t i = 0; i < columns_.size() && i < row.cells.size(); ++i) {
    if (!add_cell(block, columns_[i], row.cells[i], left, bottom)) {
      remarks.push_back(columns_[i].title + ": " + row.cells[i].text);
    }
    left += columns_[i].width;
  }
  remarks.insert(remarks.end(), row.remarks.begin(), row.remarks.end());
  add_remarks(block, remarks, left, bottom);
  double height = bottom + kBelowText;
  if (row.shape != nullptr) {
    height = std::max(height, kSketchHeight + 2);
    block.shape = row.shape;
  }
  add_line(block, height, has_sketch_ ? kContentWidth : left);
  block.picture.width = kContentWidth;
  block.picture.height = height;
  return block;
}

Block TableLayout::row(const std::vector<Cell>& cells, bool is_total) const {
  PaperRow texts;
  for (const auto& [column, index] : shown_) {
    texts.cells.push_back({cell_text(column, cells[index], is_total), {}, is_total});
  }
  return row(texts);
}

Block paragraph(const std::string& text, std::size_t most_lines) {
  Block block;
  const WrappedText lines = wrapped(text, kContentWidth, kSmallSize, false, most_lines);
  block.is_shortened = lines.is_shortened;
  double baseline = 1;
  for (const std::string& line : lines.lines) {
    baseline += kSmallPitch;
    block.picture.texts.push_back({{0, baseline}, line, kSmallSize});
  }
  block.picture.width = kContentWidth;
  block.picture.height = baseline + 1;
  return block;
}

Block title_block(const std::string& text) {
  constexpr double kSize = 4.2;
  Block block;
  block.picture.texts.push_back({{0, 5 + kSize}, text, kSize, Align::left, true});
  block.picture.width = kContentWidth;
  block.picture.height = 5 + kSize;
  return block;
}

}  // namespace korvane::schedule::drawing
