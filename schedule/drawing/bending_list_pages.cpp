#include "schedule/drawing/bending_list_pages.h"

#include <algorithm>
#include <utility>

#include "schedule/drawing/bending_list_rows.h"
#include "schedule/drawing/one_line.h"
#include "schedule/drawing/sketch.h"
#include "schedule/drawing/wrapped_text.h"

namespace korvane::schedule::drawing {

namespace {

constexpr double kTitleSize = 5.2;
constexpr double kBoxTop = kPageTop + 7;
constexpr double kBoxHeight = 10;
constexpr double kCommentPitch = 3.5;
constexpr std::size_t kMostCommentLines = 2;
constexpr std::size_t kMostNoteLines = 6;

/// A label and a value of the heading, with a line on its left.
struct Box {
  const char* label;
  std::string value;
  double width;
  bool is_bold = false;
};

void add_box(Picture& page, const Box& box, double left) {
  constexpr double kPadding = 1.3;
  constexpr double kLabelSize = 2;
  constexpr double kValue = 3.5;
  constexpr double kSmallValue = 2.4;
  const double room = box.width - 2 * kPadding;
  const double x = left + kPadding;
  page.texts.push_back({{x, kBoxTop + 3}, box.label, kLabelSize});
  WrappedText value = wrapped(box.value, room, kValue, box.is_bold, 1);
  if (!value.is_shortened) {
    for (const std::string& line : value.lines) {
      page.texts.push_back({{x, kBoxTop + 8}, line, kValue, Align::left, box.is_bold});
    }
    return;
  }
  value = wrapped(box.value, room, kSmallValue, box.is_bold, 2);
  double baseline = kBoxTop + 6;
  for (const std::string& line : value.lines) {
    page.texts.push_back({{x, baseline}, line, kSmallValue, Align::left, box.is_bold});
    baseline += 2.9;
  }
}

std::vector<std::string> comment_lines(const BendingSheet& sheet) {
  return wrapped(sheet.comment, kContentWidth, kSmallSize, false, kMostCommentLines).lines;
}

/// For titles, which stand on every page of a reader.
std::string short_name(const std::string& name) {
  constexpr std::size_t kLongest = 100;
  return name.empty() ? "(no name)" : short_line(name, kLongest);
}

std::string name_of_sheet(const BendingSheet& sheet) {
  return "Sheet " + short_name(sheet.sheet) + ", revision " + short_name(sheet.revision);
}

std::string counted(std::size_t count, const char* thing) {
  return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

}  // namespace

BendingListPages::BendingListPages(BendingList list, std::string date,
                                   const std::function<void()>& after_row)
    : list_(std::move(list)), date_(std::move(date)) {
  if (list_.sheets.empty()) {
    begin_page(summary_, "");
    place(paragraph("There is no revision here, and so there is nothing to bend.", 1));
    return;
  }
  for (const BendingSheet& sheet : list_.sheets) add_sheet(sheet, after_row);
  if (list_.sheets.size() > 1) add_summary();
}

std::string BendingListPages::title() const {
  std::string title = "Bending list";
  if (!list_.project.empty()) title += " " + short_name(list_.project);
  if (list_.sheets.size() == 1) title += ", " + name_of_sheet(list_.sheets.front());
  return title;
}

void BendingListPages::begin_page(const BendingSheet& sheet, const std::string& name) {
  pages_.push_back({&sheet, name, {}});
  y_ = kBoxTop + kBoxHeight + 1;
  const auto lines = static_cast<double>(comment_lines(sheet).size());
  if (lines > 0) y_ += 1 + kCommentPitch * lines;
}

const Block* BendingListPages::keep(Block block) {
  blocks_.push_back(std::move(block));
  return &blocks_.back();
}

void BendingListPages::place(Block block, const Block* head, double and_after) {
  if (y_ + block.picture.height + and_after > kPageBottom && !pages_.back().blocks.empty()) {
    begin_page(*pages_.back().sheet, "");
    if (head != nullptr) {
      pages_.back().blocks.push_back({y_, head});
      y_ += head->picture.height;
    }
  }
  const Block* const kept = keep(std::move(block));
  pages_.back().blocks.push_back({y_, kept});
  y_ += kept->picture.height;
}

template <class Line, class RowOf>
void BendingListPages::add_lines(const char* title, const TableLayout& layout,
                                 const std::vector<Line>& lines, RowOf row_of,
                                 const std::function<void()>& after_row) {
  const Block* continued = nullptr;
  for (const Line& line : lines) {
    Block row = layout.row(row_of(line));
    if (row.is_shortened) shortened_.push_back(line.mark);
    if (continued == nullptr) {
      continued = keep(layout.head(std::string(title) + ", continued"));
      place(layout.head(title), nullptr, row.picture.height);
    }
    place(std::move(row), continued);
    after_row();
  }
}

void BendingListPages::add_sheet(const BendingSheet& sheet,
                                 const std::function<void()>& after_row) {
  shortened_.clear();
  begin_page(sheet, name_of_sheet(sheet));
  add_lines("Bars", bar_layout(), sheet.bars, BarRows(sheet.bars), after_row);
  add_lines("Fabrics", fabric_layout(), sheet.fabrics, FabricRows(sheet.fabrics), after_row);
  add_lines("Bar spacers", spacer_layout(), sheet.bar_spacers, SpacerRows(sheet.bar_spacers),
            after_row);
  add_lines(
      "Mounting parts", part_layout(), sheet.mounting_parts,
      [](const BendingPart& part) { return part_row(part); }, after_row);
  if (pages_.back().blocks.empty()) {
    place(paragraph("This revision has no lines.", 1));
    return;
  }
  add_totals(sheet);
}

void BendingListPages::add_table(const Table& table) {
  if (table.rows.empty()) return;
  const TableLayout layout(table);
  const Block* const continued = keep(layout.head(table.title + ", continued"));
  const double two_rows = 2 * layout.row(table.rows.front(), false).picture.height;
  place(layout.head(table.title), nullptr, two_rows);
  for (const auto& row : table.rows) place(layout.row(row, false), continued);
  for (const auto& row : table.totals) place(layout.row(row, true), continued);
  for (const std::string& note : table.notes) place(paragraph(note, kMostNoteLines));
}

void BendingListPages::add_totals(const BendingSheet& sheet) {
  constexpr double kRoomForATable = 40;
  place(title_block("Totals"), nullptr, kRoomForATable);
  for (const Table& table : totals_tables(sheet.totals)) add_table(table);
  place(weight_block(sheet.totals));
  for (const std::string& note : shortened_notes(shortened_)) {
    place(paragraph(note, kMostNoteLines));
  }
}

void BendingListPages::add_summary() {
  summary_.sheet = "all";
  summary_.revision = "all";
  begin_page(summary_, "Summary");
  place(title_block("Summary of " + counted(list_.sheets.size(), "revision")));
  Totals all;
  for (const BendingSheet& sheet : list_.sheets) all += sheet.totals;
  add_table(summary_table(list_));
  for (const std::string& note : list_.notes) place(paragraph(note, kMostNoteLines));
  for (const Table& table : totals_tables(all)) add_table(table);
  place(weight_block(all));
}

void BendingListPages::add_heading(Picture& page, std::size_t index) const {
  const BendingSheet& sheet = *pages_[index].sheet;
  page.texts.push_back(
      {{kPageLeft, kPageTop + kTitleSize * 0.8}, "Bending list", kTitleSize, Align::left, true});
  const std::string number =
      "Page " + std::to_string(index + 1) + " of " + std::to_string(pages_.size());
  page.texts.push_back(
      {{kPageLeft + kContentWidth, kPageTop + kTitleSize * 0.8}, number, kValueSize, Align::right});
  const Box boxes[] = {{"Project", list_.project, 72},
                       {"Sheet", sheet.sheet, 48, true},
                       {"Revision", sheet.revision, 34, true},
                       {"Printed", date_, 28}};
  page.strokes.push_back(
      {rectangle({kPageLeft, kBoxTop}, kContentWidth, kBoxHeight), 0.2, Ink::black});
  double left = kPageLeft;
  for (const Box& box : boxes) {
    if (left > kPageLeft) {
      page.strokes.push_back(
          {path_through({{left, kBoxTop}, {left, kBoxTop + kBoxHeight}}), kHairline, Ink::grey});
    }
    add_box(page, box, left);
    left += box.width;
  }
  double baseline = kBoxTop + kBoxHeight + 1;
  for (const std::string& line : comment_lines(sheet)) {
    baseline += kCommentPitch;
    page.texts.push_back({{kPageLeft, baseline}, line, kSmallSize});
  }
}

Picture BendingListPages::page(std::size_t index) const {
  Picture page{kPageWidth, kPageHeight, {}, {}};
  add_heading(page, index);
  for (const PlacedBlock& placed : pages_[index].blocks) {
    const Point corner{kPageLeft, placed.y};
    add(page, placed.block->picture, corner);
    if (placed.block->shape == nullptr) continue;
    add(page, sketch_of(*placed.block->shape, kSketchWidth, kSketchHeight),
        corner + Point{kContentWidth - kSketchWidth, 1});
  }
  return page;
}

}  // namespace korvane::schedule::drawing
