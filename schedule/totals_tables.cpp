#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "schedule/groupings.h"
#include "schedule/totals.h"

namespace korvane::schedule {

namespace {

using Kind = Column::Kind;

enum class Length { none, metres };

void add_sum_columns(Table& table, Length length) {
  table.columns.push_back({"marks", "marks", Kind::number, "", 0});
  table.columns.push_back({"pieces", "pieces", Kind::number, "", 0});
  if (length == Length::metres) {
    table.columns.push_back({"metres", "length", Kind::number, "m", 2});
  }
  table.columns.push_back({"mass", "weight", Kind::number, "kg", 2, false, "unknown"});
  table.columns.push_back(
      {"marks_without_weight", "without weight", Kind::number, "marks", 0, false, "", true});
  table.columns.push_back(
      {"estimated_mass", "estimated for them", Kind::number, "kg", 2, false, "", true});
}

void add_sum_cells(std::vector<Cell>& row, const Sum& sum, Length length) {
  row.emplace_back(sum.lines);
  row.emplace_back(sum.pieces);
  if (length == Length::metres) row.emplace_back(sum.metres);
  row.push_back(mass_cell(sum));
  row.emplace_back(sum.lines_without_mass);
  row.emplace_back(sum.estimated_mass);
}

std::string marks_text(std::int64_t count) {
  return std::to_string(count) + (count == 1 ? " mark has" : " marks have");
}

void note_missing_weights(Table& table, const Sum& sum) {
  if (sum.lines_without_mass == 0) return;
  std::string note = marks_text(sum.lines_without_mass) + " no weight and " +
                     (sum.lines_without_mass == 1 ? "is" : "are") + " not among the kilograms";
  if (sum.estimated_mass != 0) {
    note += "; the estimate is that of round bars of steel with 7850 kg/m³";
  }
  table.notes.push_back(std::move(note) + ".");
}

/// A table of groups, whose first columns are there. `cells` makes those of one group.
template <class Key, class Cells>
Table group_table(Table table, const std::map<Key, Sum>& groups, Length length, Cells cells) {
  const std::size_t keys = table.columns.size();
  add_sum_columns(table, length);
  Sum all;
  for (const auto& [key, sum] : groups) {
    std::vector<Cell> row = cells(key);
    add_sum_cells(row, sum, length);
    table.rows.push_back(std::move(row));
    all += sum;
  }
  if (groups.empty()) return table;
  std::vector<Cell> total(keys);
  total[0] = std::string("total");
  add_sum_cells(total, all, length);
  table.totals.push_back(std::move(total));
  note_missing_weights(table, all);
  return table;
}

std::vector<Cell> revision_row(const std::string& sheet, const Cell& revision,
                               const Totals& totals) {
  const Sum all = sum_of(totals);
  std::vector<Cell> row = {sheet, revision, all.lines};
  row.emplace_back(sum_of(totals.bars).pieces);
  row.emplace_back(sum_of(totals.fabrics).pieces);
  row.emplace_back(sum_of(totals.bar_spacers).pieces);
  row.emplace_back(sum_of(totals.mounting_parts).pieces);
  row.emplace_back(all.metres);
  row.push_back(mass_cell(all));
  row.emplace_back(all.lines_without_mass);
  row.emplace_back(all.estimated_mass);
  return row;
}

}  // namespace

std::string several_revisions_note(const std::vector<SelectedRevision>& selected) {
  std::map<const SheetEntry*, int> counts;
  for (const SelectedRevision& each : selected) ++counts[each.sheet];
  const auto sheets = std::count_if(counts.begin(), counts.end(),
                                    [](const auto& count) { return count.second > 1; });
  if (sheets == 0) return {};
  return std::to_string(sheets) + (sheets == 1 ? " sheet has" : " sheets have") +
         " several revisions, and all of them count.";
}

std::vector<Table> totals_tables(const Totals& totals) {
  std::vector<Table> tables;
  for_each_grouping("_totals", [&](Table table, auto groups, auto cells) {
    const bool has_length = table.name == "bar_totals" || table.name == "bar_spacer_totals";
    tables.push_back(group_table(std::move(table), totals.*groups,
                                 has_length ? Length::metres : Length::none, cells));
  });
  // Parts have no weight at all.
  for (Column& column : tables.back().columns) column.if_none.clear();
  return tables;
}

Table revisions_table(const Structure& structure, const std::vector<SelectedRevision>& selected,
                      const std::map<std::int32_t, Totals>& totals) {
  Table table{"revisions", "Revisions", {}, {}, {}, {}};
  table.columns = {
      {"sheet", "sheet", Kind::text, ""},
      {"revision", "revision", Kind::text, ""},
      {"marks", "marks", Kind::number, "", 0},
      {"bars", "bars", Kind::number, "pieces", 0, false, "", true},
      {"fabrics", "fabrics", Kind::number, "pieces", 0, false, "", true},
      {"bar_spacers", "bar spacers", Kind::number, "pieces", 0, false, "", true},
      {"mounting_parts", "mounting parts", Kind::number, "pieces", 0, false, "", true},
      {"bar_metres", "length of bars", Kind::number, "m", 2, false, "", true},
      {"mass", "weight", Kind::number, "kg", 2, false, "unknown"},
      {"marks_without_weight", "without weight", Kind::number, "marks", 0, false, "", true},
      {"estimated_mass", "estimated for them", Kind::number, "kg", 2, false, "", true}};
  Totals all;
  for (const SelectedRevision& each : selected) {
    const auto found = totals.find(each.revision->record.id);
    const Totals of_revision = found == totals.end() ? Totals{} : found->second;
    all += of_revision;
    table.rows.push_back(
        revision_row(each.sheet->record.name, each.revision->record.name, of_revision));
  }
  for (const SheetEntry& sheet : structure.sheets) {
    if (sheet.revisions.empty()) table.rows.push_back(revision_row(sheet.record.name, {}, {}));
  }
  if (table.rows.empty()) return table;
  std::vector<Cell> total = revision_row("total", {}, all);
  table.totals.push_back(std::move(total));
  note_missing_weights(table, sum_of(all));
  const std::string note = several_revisions_note(selected);
  if (!note.empty()) table.notes.push_back(note);
  return table;
}

}  // namespace korvane::schedule
