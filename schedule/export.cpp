#include "schedule/export.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <utility>
#include <variant>

#include "schedule/bvbs/write_schedule.h"
#include "schedule/content.h"
#include "schedule/content_tables.h"
#include "schedule/fault_list.h"
#include "schedule/table_text.h"
#include "schedule/totals.h"
#include "schedule/xlsx.h"

namespace korvane::schedule {

using model::cad::Project_Service;

namespace {

/// The columns of content_tables whose values add up.
constexpr std::array<std::string_view, 5> kSummed = {"total_bars", "total_fabrics", "quantity",
                                                     "mass", "estimated_mass"};

/// The tables of a content without lines.
std::vector<Table> empty_tables(const Structure& structure) {
  const SheetEntry sheet;
  const RevisionEntry revision;
  return content_tables(structure, {&sheet, &revision}, {});
}

std::string with_blanks(std::string name) {
  std::replace(name.begin(), name.end(), '_', ' ');
  return name;
}

/// Adds up the numbers of a column.
void add_to(Cell& sum, const Cell& cell) {
  if (const auto* const integer = std::get_if<std::int64_t>(&cell)) {
    const auto* const before = std::get_if<std::int64_t>(&sum);
    sum = *integer + (before == nullptr ? 0 : *before);
  } else if (const auto* const number = std::get_if<double>(&cell)) {
    const auto* const before = std::get_if<double>(&sum);
    sum = *number + (before == nullptr ? 0 : *before);
  }
}

/// The totals of the tables of one kind, which come in parts.
class Total {
 public:
  void add(const Table& part) {
    if (total_.columns.empty()) {
      total_ = part;
      total_.rows.clear();
      total_.totals.assign(1, std::vector<Cell>(part.columns.size()));
      total_.totals[0][0] = std::string("total");
    }
    for (std::size_t i = 0; i < part.columns.size(); ++i) {
      if (std::find(kSummed.begin(), kSummed.end(), part.columns[i].name) == kSummed.end()) {
        continue;
      }
      const bool is_mass = part.columns[i].name == "mass";
      for (const auto& row : part.rows) {
        add_to(total_.totals[0][i], row[i]);
        if (is_mass && std::holds_alternative<std::monostate>(row[i])) ++without_mass_;
      }
    }
  }

  Table take() {
    if (without_mass_ != 0) {
      total_.notes.push_back(
          std::to_string(without_mass_) + (without_mass_ == 1 ? " line has" : " lines have") +
          " no weight and " + (without_mass_ == 1 ? "is" : "are") + " not among the kilograms.");
    }
    return std::move(total_);
  }

 private:
  Table total_;
  std::size_t without_mass_ = 0;
};

}  // namespace

ExportReport export_bvbs(Project_Service& project, const Selection& selection,
                         const TextSink& sink) {
  const Structure structure = read_structure(project);
  const std::vector<SelectedRevision> selected = select_revisions(structure, selection);
  const ContentReader reader(project);
  ExportReport report;
  FaultList refusals;
  FaultList remarks;
  for (const SelectedRevision& each : selected) {
    const std::string place = name_of(each) + ": ";
    reader.read_in_parts(each.revision->content_id, [&](Content&& part) {
      std::ostringstream text;
      const bvbs::WrittenSchedule written = bvbs::write_schedule(text, structure, each, part);
      sink(text.str());
      report.lines += written.lines;
      for (const std::string& refusal : written.refusals) refusals.add(0, place + refusal);
      for (const std::string& remark : written.remarks) remarks.add(0, place + remark);
    });
  }
  report.refusals = refusals.texts();
  report.notes = remarks.texts();
  return report;
}

std::vector<std::string> table_kinds() {
  std::vector<std::string> kinds;
  for (const Table& table : empty_tables({})) kinds.push_back(table.name);
  return kinds;
}

ExportReport export_csv(Project_Service& project, const Selection& selection,
                        const std::string& kind, const TextSink& sink) {
  const Structure structure = read_structure(project);
  const std::vector<SelectedRevision> selected = select_revisions(structure, selection);
  const ContentReader reader(project);
  ExportReport report;
  std::ostringstream header;
  for (const Table& table : empty_tables(structure)) {
    if (table.name == kind) write_csv(table, header);
  }
  sink(header.str());
  std::map<std::string, std::size_t> others;
  for (const SelectedRevision& each : selected) {
    reader.read_in_parts(each.revision->content_id, [&](Content&& part) {
      for (const Table& table : content_tables(structure, each, part)) {
        if (table.name != kind) {
          others[table.name] += table.rows.size();
          continue;
        }
        std::ostringstream text;
        write_csv_rows(table, text);
        sink(text.str());
        report.lines += table.rows.size();
      }
    });
  }
  for (const auto& [name, lines] : others) {
    if (lines == 0) continue;
    report.notes.push_back(std::to_string(lines) + (lines == 1 ? " line" : " lines") + " of " +
                           with_blanks(name) + " not written: --kind " + name + " writes them");
  }
  return report;
}

ExportReport export_xlsx(Project_Service& project, const Selection& selection,
                         const std::string& filename) {
  const Structure structure = read_structure(project);
  const std::vector<SelectedRevision> selected = select_revisions(structure, selection);
  const ContentReader reader(project);
  ExportReport report;
  XlsxFile file(filename);
  std::vector<Total> totals(table_kinds().size());
  std::vector<bool> has_rows(totals.size());
  for (const SelectedRevision& each : selected) {
    reader.read_in_parts(each.revision->content_id, [&](Content&& part) {
      const std::vector<Table> tables = content_tables(structure, each, part);
      for (std::size_t i = 0; i < tables.size(); ++i) {
        if (tables[i].rows.empty()) continue;
        file.add_rows(tables[i]);
        totals[i].add(tables[i]);
        has_rows[i] = true;
        report.lines += tables[i].rows.size();
      }
    });
  }
  for (std::size_t i = 0; i < totals.size(); ++i) {
    if (has_rows[i]) file.add_totals(totals[i].take());
  }
  const std::map<std::int32_t, Totals> by_revision = totals_by_revision(project, structure);
  Totals all;
  for (const SelectedRevision& each : selected) {
    const auto found = by_revision.find(each.revision->record.id);
    if (found != by_revision.end()) all += found->second;
  }
  std::vector<Table> sums = totals_tables(all);
  sums.insert(sums.begin(), revisions_table(structure, selected, by_revision));
  for (const Table& table : sums) {
    if (table.rows.empty()) continue;
    file.add_rows(table);
    file.add_totals(table);
  }
  file.finish();
  if (const std::size_t shortened = file.shortened_texts(); shortened != 0) {
    report.refusals.push_back(std::to_string(shortened) +
                              (shortened == 1 ? " text is" : " texts are") +
                              " longer than the 32,767 characters of a cell, and cut");
  }
  return report;
}

}  // namespace korvane::schedule
