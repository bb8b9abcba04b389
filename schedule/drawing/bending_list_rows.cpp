#include "schedule/drawing/bending_list_rows.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

#include "schedule/groupings.h"
#include "schedule/xlsx_text.h"

namespace korvane::schedule::drawing {

namespace {

constexpr int kMassDecimals = 2;
constexpr int kMetreDecimals = 2;

PaperColumn text(const char* title, double width) { return {title, "", width}; }
PaperColumn number(const char* title, const char* unit, double width) {
  return {title, unit, width, Align::right, true};
}

PaperCell mark_cell(const BendingLine& line) { return {line.mark, {}, true}; }

PaperCell pieces_cell(const BendingLine& line) {
  return {line.pieces ? std::to_string(*line.pieces) : "", line.members, true};
}

PaperCell mass_cell(const BendingLine& line) {
  if (line.mass || !line.estimated_mass) return {paper_number(line.mass, kMassDecimals)};
  return {"≈ " + paper_number(line.estimated_mass, kMassDecimals)};
}

/// What the number of `lines` needs that has most digits after the point.
template <class Line>
int most_decimals(const std::vector<Line>& lines, std::optional<double> Line::*number) {
  int most = 0;
  for (const Line& line : lines) most = std::max(most, decimals_of(line.*number));
  return most;
}

}  // namespace

// The widths add up to 123 mm, which with the sketch is the whole content.

TableLayout bar_layout() {
  return {{text("Mark", 20), number("Pieces", "", 15), number("ø", "mm", 10), text("Steel", 18),
           number("Length", "mm", 15), number("Total", "m", 16), number("Mandrel", "mm", 14),
           number("Weight", "kg", 15)},
          true};
}

TableLayout fabric_layout() {
  return {{text("Mark", 20), number("Pieces", "", 15), text("Type", 18), text("Steel", 14),
           number("Length", "mm", 13), number("Width", "mm", 13), number("Mandrel", "mm", 15),
           number("Weight", "kg", 15)},
          true};
}

TableLayout spacer_layout() {
  return {{text("Mark", 20), number("Pieces", "", 15), text("Name", 85), number("Length", "mm", 20),
           number("Total", "m", 20), number("Weight", "kg", 22)},
          false};
}

TableLayout part_layout() {
  return {{text("Mark", 20), number("Pieces", "", 15), text("Family, type", 57),
           text("Material", 25), text("Maker, model, order number", 65)},
          false};
}

BarRows::BarRows(const std::vector<BendingBar>& lines)
    : diameter_(most_decimals(lines, &BendingBar::diameter)),
      length_(std::min(most_decimals(lines, &BendingBar::length), 1)),
      mandrel_(most_decimals(lines, &BendingBar::mandrel)) {}

PaperRow BarRows::operator()(const BendingBar& bar) const {
  std::string hook = paper_number(bar.hook_mandrel, decimals_of(bar.hook_mandrel));
  if (!hook.empty()) hook = "hook " + hook;
  return {{mark_cell(bar),
           pieces_cell(bar),
           {paper_number(bar.diameter, diameter_)},
           {bar.steel},
           {paper_number(bar.length, length_)},
           {paper_number(bar.total_metres, kMetreDecimals)},
           {paper_number(bar.mandrel, mandrel_), hook},
           mass_cell(bar)},
          bar.remarks,
          &bar.shape};
}

FabricRows::FabricRows(const std::vector<BendingFabric>& lines)
    : length_(std::min(std::max(most_decimals(lines, &BendingFabric::length),
                                most_decimals(lines, &BendingFabric::width)),
                       1)),
      mandrel_(most_decimals(lines, &BendingFabric::mandrel)) {}

PaperRow FabricRows::operator()(const BendingFabric& fabric) const {
  return {{mark_cell(fabric),
           pieces_cell(fabric),
           {fabric.type},
           {fabric.steel},
           {paper_number(fabric.length, length_)},
           {paper_number(fabric.width, length_)},
           {paper_number(fabric.mandrel, mandrel_)},
           mass_cell(fabric)},
          fabric.remarks,
          fabric.shape ? &*fabric.shape : nullptr};
}

SpacerRows::SpacerRows(const std::vector<BendingSpacer>& lines)
    : length_(std::min(most_decimals(lines, &BendingSpacer::length), 1)) {}

PaperRow SpacerRows::operator()(const BendingSpacer& spacer) const {
  return {{mark_cell(spacer),
           pieces_cell(spacer),
           {spacer.name},
           {paper_number(spacer.length, length_)},
           {paper_number(spacer.total_metres, kMetreDecimals)},
           mass_cell(spacer)},
          spacer.remarks};
}

PaperRow part_row(const BendingPart& part) {
  return {{mark_cell(part), pieces_cell(part), {part.name}, {part.steel}, {part.order}},
          part.remarks};
}

Block weight_block(const Totals& totals) {
  const Sum sum = sum_of(totals);
  std::string line = "Weight of all: ";
  line += sum.mass > 0 ? paper_number(sum.mass, kMassDecimals) + " kg" : "unknown";
  if (sum.estimated_mass > 0) {
    line += ", and ≈ " + paper_number(sum.estimated_mass, kMassDecimals) + " kg estimated";
  }
  Block block;
  block.picture.texts.push_back({{0, 7}, std::move(line), 3.4, Align::left, true});
  block.picture.width = kContentWidth;
  block.picture.height = 9;
  return block;
}

Table summary_table(const BendingList& list) {
  using Kind = Column::Kind;
  Table table{"revisions", "Revisions", {}, {}, {}, {}};
  table.columns = {
      {"sheet", "sheet", Kind::text, ""},
      {"revision", "revision", Kind::text, ""},
      {"marks", "marks", Kind::number, "", 0},
      {"pieces", "pieces", Kind::number, "", 0},
      {"metres", "length of bars", Kind::number, "m", kMetreDecimals},
      {"mass", "weight", Kind::number, "kg", kMassDecimals, false, "unknown"},
      {"estimated_mass", "estimated besides", Kind::number, "kg", kMassDecimals, false, "", true}};
  const auto row = [](const std::string& sheet, const std::string& revision, const Sum& sum) {
    return std::vector<Cell>{sheet,
                             revision,
                             sum.lines,
                             sum.pieces,
                             sum.metres,
                             schedule::mass_cell(sum),
                             sum.estimated_mass};
  };
  Sum all;
  for (const BendingSheet& sheet : list.sheets) {
    const Sum sum = sum_of(sheet.totals);
    table.rows.push_back(row(sheet.sheet, sheet.revision, sum));
    all += sum;
  }
  table.totals.push_back(row("total", "", all));
  return table;
}

std::vector<std::string> shortened_notes(const std::vector<std::string>& marks) {
  constexpr std::size_t kMostMarks = 10;
  constexpr std::size_t kMostLetters = 20;
  if (marks.empty()) return {};
  std::string list;
  for (std::size_t i = 0; i < std::min(marks.size(), kMostMarks); ++i) {
    const std::string begin = first_characters(marks[i], kMostLetters);
    list += (i == 0 ? "" : ", ") + begin + (begin.size() < marks[i].size() ? "…" : "");
  }
  if (marks.size() > kMostMarks) {
    list += " and " + std::to_string(marks.size() - kMostMarks) + " more";
  }
  return {"Texts that end in “…” are longer than their place. They are at mark " + list + "."};
}

}  // namespace korvane::schedule::drawing
