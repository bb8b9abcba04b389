#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/rpc4/failure.h"
#include "schedule/compare.h"
#include "schedule/groupings.h"
#include "schedule/line_kind.h"
#include "schedule/query.h"

namespace korvane::schedule {

namespace {

using krv::rpc4::BadRequest;
using krv::rpc4::NotFound;
using model::cad::Project_Service;
using Kind = Column::Kind;

std::string quoted(const std::string& name) { return "\"" + name + "\""; }

/// What of two sides differs by less than this comes from adding up.
constexpr double kNoticedKilograms = 1e-6;

std::string change_text(Change change) {
  return change == Change::added ? "added" : change == Change::removed ? "removed" : "changed";
}

void add_difference_cells(std::vector<Cell>& row, const Sum& before, const Sum& after) {
  row.emplace_back(before.pieces);
  row.emplace_back(after.pieces);
  row.emplace_back(after.pieces - before.pieces);
  row.push_back(mass_cell(before));
  row.push_back(mass_cell(after));
  const bool is_known = mass_cell(before) != Cell() && mass_cell(after) != Cell();
  row.push_back(is_known ? Cell(after.mass - before.mass) : Cell());
}

/// A table of the groups that differ, whose first columns are there. `cells` makes those of one.
template <class Key, class Cells>
Table difference_table(Table table, const std::map<Key, Sum>& before,
                       const std::map<Key, Sum>& after, Cells cells) {
  const std::size_t keys = table.columns.size();
  for (const char* const when : {"before", "after", "difference"}) {
    table.columns.push_back(
        {std::string("pieces_") + when, std::string("pieces ") + when, Kind::number, "", 0});
  }
  for (const char* const when : {"before", "after", "difference"}) {
    table.columns.push_back({std::string("mass_") + when, std::string("weight ") + when,
                             Kind::number, "kg", 2, false, "unknown"});
  }
  std::map<Key, std::pair<Sum, Sum>> groups;
  for (const auto& [key, sum] : before) groups[key].first = sum;
  for (const auto& [key, sum] : after) groups[key].second = sum;
  for (const auto& [key, sums] : groups) {
    const auto& [was, is] = sums;
    const bool is_same = was.pieces == is.pieces &&
                         was.lines_without_mass == is.lines_without_mass &&
                         std::abs(was.mass - is.mass) < kNoticedKilograms;
    if (is_same) continue;
    std::vector<Cell> row = cells(key);
    add_difference_cells(row, was, is);
    table.rows.push_back(std::move(row));
  }
  if (table.rows.empty()) return table;
  std::vector<Cell> total(keys);
  total[0] = std::string("in all");
  const Sum all_before = sum_of(before);
  const Sum all_after = sum_of(after);
  add_difference_cells(total, all_before, all_after);
  table.totals.push_back(std::move(total));
  const auto lacking = all_before.lines_without_mass + all_after.lines_without_mass;
  if (lacking != 0) {
    table.notes.push_back("Marks without a weight, which are not among the kilograms: " +
                          std::to_string(all_before.lines_without_mass) + " before, " +
                          std::to_string(all_after.lines_without_mass) + " after.");
  }
  return table;
}

Content content_of(const ContentReader& reader, const std::optional<SelectedRevision>& selected) {
  return selected ? reader.read(selected->revision->content_id) : Content();
}

/// Looks up the rows of lines that differ.
class RowIds {
 public:
  RowIds(Project_Service& project, const std::optional<SelectedRevision>& selected)
      : project_(project) {
    if (selected) content_id_ = selected->revision->content_id;
  }

  /// Of the line at that place of its kind.
  std::optional<std::int64_t> at(const std::string& kind, std::optional<std::size_t> place) {
    if (!place || !content_id_) return std::nullopt;
    const auto [found, is_new] = ids_.try_emplace(kind);
    if (is_new) found->second = read(kind);
    if (*place >= found->second.size()) return std::nullopt;
    return found->second[*place];
  }

 private:
  std::vector<std::int64_t> read(const std::string& kind) const {
    std::vector<std::int64_t> ids;
    with_line_kind(kind, [&](auto each) {
      for (const auto& [id] : query<1>(
               project_, std::string("select id from ") + each.kTable +
                             " where rev_id = " + std::to_string(*content_id_) + " order by id")) {
        ids.push_back(integer_in(id));
      }
    });
    return ids;
  }

  Project_Service& project_;
  std::optional<std::int32_t> content_id_;
  std::map<std::string, std::vector<std::int64_t>> ids_;
};

/// The revision of that name of a sheet.
const RevisionEntry* find_revision(const SheetEntry& sheet, const std::string& name) {
  const RevisionEntry* found = nullptr;
  for (const RevisionEntry& revision : sheet.revisions) {
    if (revision.record.name != name) continue;
    if (found != nullptr) {
      throw BadRequest("sheet " + quoted(sheet.record.name) + " has several revisions " +
                       quoted(name));
    }
    found = &revision;
  }
  return found;
}

std::string counted(const Totals& totals) {
  const Sum sum = sum_of(totals);
  return std::to_string(sum.lines) + (sum.lines == 1 ? " mark" : " marks");
}

/// In the place of a kind of lines.
constexpr const char* kRevision = "revision";

Cell sheet_name(const RevisionPair& pair) {
  const std::optional<SelectedRevision>& any = pair.before ? pair.before : pair.after;
  return any ? Cell(any->sheet->record.name) : Cell();
}

Cell revision_name(const std::optional<SelectedRevision>& side) {
  return side ? Cell(side->revision->record.name) : Cell();
}

}  // namespace

std::vector<RevisionPair> match_revisions(const Structure& before, const Structure& after,
                                          const Selection& selection) {
  const auto selected_in = [&](const Structure& structure) {
    try {
      return select_revisions(structure, selection);
    } catch (const NotFound&) {
      return std::vector<SelectedRevision>();
    }
  };
  const std::vector<SelectedRevision> first = selected_in(before);
  const std::vector<SelectedRevision> second = selected_in(after);
  if (first.empty() && second.empty()) {
    // Neither side has the names that were given.
    select_revisions(before, selection);
  }
  const auto names_of = [](const SelectedRevision& selected) {
    return std::pair(selected.sheet->record.name, selected.revision->record.name);
  };
  std::map<std::pair<std::string, std::string>, std::deque<SelectedRevision>> by_names;
  for (const SelectedRevision& each : second) by_names[names_of(each)].push_back(each);
  std::vector<RevisionPair> pairs;
  for (const SelectedRevision& each : first) {
    RevisionPair& pair = pairs.emplace_back();
    pair.before = each;
    std::deque<SelectedRevision>& others = by_names[names_of(each)];
    if (others.empty()) continue;
    pair.after = others.front();
    others.pop_front();
  }
  for (const SelectedRevision& each : second) {
    std::deque<SelectedRevision>& others = by_names[names_of(each)];
    if (others.empty() || others.front().revision != each.revision) continue;
    pairs.push_back({std::nullopt, each});
    others.pop_front();
  }
  return pairs;
}

RevisionPair find_revisions(const Structure& structure, const std::optional<std::string>& sheet,
                            const std::string& before, const std::string& after) {
  std::vector<RevisionPair> pairs;
  for (const SelectedRevision& each : select_revisions(structure, {sheet, std::nullopt})) {
    if (!pairs.empty() && pairs.back().before->sheet == each.sheet) continue;
    const RevisionEntry* const first = find_revision(*each.sheet, before);
    const RevisionEntry* const second = find_revision(*each.sheet, after);
    if (first == nullptr || second == nullptr) continue;
    pairs.push_back({SelectedRevision{each.sheet, first}, SelectedRevision{each.sheet, second}});
  }
  if (pairs.size() == 1) return pairs.front();
  const std::string names = "revisions " + quoted(before) + " and " + quoted(after);
  if (pairs.empty()) {
    throw NotFound(sheet ? "sheet " + quoted(*sheet) + " does not have " + names
                         : "no sheet has " + names);
  }
  throw BadRequest(std::to_string(pairs.size()) + " sheets have " + names + ": name one");
}

void compare_revisions(
    Project_Service& project_before, const Structure& structure_before,
    Project_Service& project_after, const Structure& structure_after,
    const std::vector<RevisionPair>& pairs,
    const std::function<void(const RevisionPair& pair, const Comparison& comparison)>& visit) {
  const ContentReader reader_before(project_before);
  const ContentReader reader_after(project_after);
  for (const RevisionPair& pair : pairs) {
    Comparison comparison =
        compare_contents(structure_before, content_of(reader_before, pair.before), structure_after,
                         content_of(reader_after, pair.after));
    RowIds ids_before(project_before, pair.before);
    RowIds ids_after(project_after, pair.after);
    for (LineDifference& line : comparison.lines) {
      line.before_id = ids_before.at(line.kind, line.place_before);
      line.after_id = ids_after.at(line.kind, line.place_after);
    }
    visit(pair, comparison);
  }
}

Table changes_table(const RevisionPair& pair, const Comparison& comparison, ChangeIds ids) {
  Table table{"changes", "Changes", {}, {}, {}, {}};
  const auto add_column = [&](const char* name, const char* title, bool is_for_programs) {
    table.columns.push_back({name, title, Kind::text, "", 3, is_for_programs});
  };
  add_column("sheet", "sheet", true);
  add_column("revision_before", "revision before", true);
  add_column("revision_after", "revision after", true);
  add_column("kind", "kind", false);
  add_column("mark", "mark", false);
  add_column("change", "change", false);
  add_column("field", "field", false);
  add_column("before", "before", false);
  add_column("after", "after", false);
  if (ids == ChangeIds::shown) {
    table.columns.push_back({"before_id", "id before", Kind::number, "", 0, true});
    table.columns.push_back({"after_id", "id after", Kind::number, "", 0, true});
  }
  const std::vector<Cell> names = {sheet_name(pair), revision_name(pair.before),
                                   revision_name(pair.after)};
  const auto id_cell = [](const std::optional<std::int64_t>& id) {
    return id ? Cell(*id) : Cell();
  };
  const auto add_row = [&](const LineDifference& line, const FieldDifference& field) {
    std::vector<Cell> row = names;
    const Cell name = field.field.empty() ? Cell() : Cell(field.field);
    const Cell mark = line.kind == kRevision ? Cell() : Cell(line.mark);
    for (const Cell& cell :
         {Cell(line.kind), mark, Cell(change_text(line.change)), name, field.before, field.after}) {
      row.push_back(cell);
    }
    if (ids == ChangeIds::shown) {
      row.push_back(id_cell(line.before_id));
      row.push_back(id_cell(line.after_id));
    }
    table.rows.push_back(std::move(row));
  };
  if (!pair.before && !pair.after) return table;
  if (!pair.before) {
    add_row({Change::added, kRevision, "", {}}, {"", {}, counted(comparison.after)});
    return table;
  }
  if (!pair.after) {
    add_row({Change::removed, kRevision, "", {}}, {"", counted(comparison.before), {}});
    return table;
  }
  for (const LineDifference& line : comparison.lines) {
    for (const FieldDifference& field : line.fields) add_row(line, field);
  }
  return table;
}

std::vector<Table> difference_tables(const Totals& before, const Totals& after) {
  std::vector<Table> tables;
  for_each_grouping("_differences", [&](Table table, auto groups, auto cells) {
    tables.push_back(difference_table(std::move(table), before.*groups, after.*groups, cells));
  });
  // Parts have no weight at all.
  for (Column& column : tables.back().columns) column.if_none.clear();
  return tables;
}

}  // namespace korvane::schedule
