#include "sqlite/finding.h"

#include <array>
#include <utility>

namespace korvane::sqlite {

namespace {

using enum Severity;

constexpr std::array kDescriptions = {
    KindDescription{Kind::unreadable, "unreadable", damage, "",
                    "the file cannot be opened or read"},
    KindDescription{Kind::not_a_database, "not_a_database", damage, "",
                    "the file has other content than SQLite's"},
    KindDescription{Kind::not_a_project, "not_a_project", damage, "",
                    "a database without a project's tables"},
    KindDescription{Kind::missing_table, "missing_table", damage, "",
                    "a table of the project is not there"},
    KindDescription{Kind::missing_column, "missing_column", damage, "",
                    "a column of a table is not there"},
    KindDescription{Kind::pages, "pages", damage, "",
                    "SQLite finds damage in the file's pages; nothing at all is repaired then"},
    KindDescription{Kind::raw_missing, "raw_missing", damage, "", "a row without its record"},
    KindDescription{Kind::raw_damaged, "raw_damaged", damage, "",
                    "a row whose record cannot be decoded"},
    KindDescription{Kind::journal, "journal", finding,
                    "lets SQLite take the write back, or finish it",
                    "the journal of a write that was broken off lies beside the file"},
    KindDescription{Kind::declaration, "declaration", finding, "",
                    "a table without a constraint or declaration that it should have"},
    KindDescription{Kind::index, "index", finding, "builds the indexes anew",
                    "an index does not fit its table"},
    KindDescription{Kind::constraint, "constraint", finding, "",
                    "a value that the table's own constraints forbid"},
    KindDescription{Kind::foreign_key, "foreign_key", finding, "",
                    "a row refers to one that is not there"},
    KindDescription{Kind::raw_left_over, "raw_left_over", finding, "",
                    "bytes follow the end of a record"},
    KindDescription{Kind::column, "column", finding, "writes what the record says",
                    "a column differs from the record in `raw`"},
    KindDescription{Kind::treatment, "treatment", finding, "links the right row",
                    "a bar's end treatment is not the row that its record says"},
    KindDescription{Kind::equal_treatments, "equal_treatments", finding, "makes them one",
                    "two rows of one end treatment: bars that have it cannot be added"},
    KindDescription{Kind::row_id, "row_id", finding, "",
                    "the id of a row is one that no record can have"},
    KindDescription{Kind::uid, "uid", finding, "", "an entry without a uid"},
    KindDescription{Kind::project_rows, "project_rows", finding, "",
                    "several rows in `project`, of which one is read"},
    KindDescription{Kind::unfinished_change, "unfinished_change", finding,
                    "finishes the change or takes it back", "a change was broken off half-way"},
    KindDescription{Kind::sheet_name, "sheet_name", finding, "", "two sheets of one name"},
    KindDescription{Kind::revision_name, "revision_name", finding, "",
                    "two revisions of one sheet of one name"},
    KindDescription{Kind::write_ahead_log, "write_ahead_log", note, "",
                    "changes wait in a write-ahead log beside the file"},
    KindDescription{Kind::not_ours, "not_ours", note, "",
                    "a table, column, index, view, trigger or application id that is not a "
                    "project's"},
    KindDescription{Kind::raw_unknown, "raw_unknown", note, "",
                    "a record has something that this version does not know"},
    KindDescription{Kind::orphan_bar_spacers, "orphan_bar_spacers", note,
                    "removes them with `--repair --remove-orphans`",
                    "bar spacers of a revision that is gone; the store leaves them"},
    KindDescription{Kind::treatment_unlinked, "treatment_unlinked", note, "links the row",
                    "a bar whose end treatment is in its record alone; the store does that when it "
                    "clears a revision that shares the treatment"},
    KindDescription{Kind::unused_treatments, "unused_treatments", note, "",
                    "end treatments that no bar has"},
    KindDescription{Kind::other_sheet, "other_sheet", note, "",
                    "a record names another sheet than the one it belongs to"},
    KindDescription{Kind::revision_without_sheet, "revision_without_sheet", note, "",
                    "a revision that belongs to no sheet"},
    KindDescription{Kind::change_at_work, "change_at_work", note, "",
                    "a change whose maker may still be at work"},
    KindDescription{Kind::optimized, "optimized", note, "",
                    "indexes that `korvane optimize` has added"},
    KindDescription{Kind::index_missing, "index_missing", note, "",
                    "one of those indexes is not there, though others are; `korvane optimize` adds "
                    "it"},
};

constexpr bool is_in_order() {
  for (std::size_t i = 0; i < kDescriptions.size(); ++i) {
    if (kDescriptions[i].kind != static_cast<Kind>(i)) return false;
  }
  return kDescriptions.size() == static_cast<std::size_t>(Kind::index_missing) + 1;
}
static_assert(is_in_order());

}  // namespace

std::string_view name_of(Severity severity) {
  switch (severity) {
    case damage:
      return "damage";
    case finding:
      return "finding";
    default:
      return "note";
  }
}

std::span<const KindDescription> descriptions() { return kDescriptions; }

const KindDescription& description_of(Kind kind) {
  return kDescriptions.at(static_cast<std::size_t>(kind));
}

void FindingList::add(Finding finding) {
  const std::size_t count = ++counts_[{finding.kind, finding.table, finding.column}];
  if (count <= kListed) findings_.push_back(std::move(finding));
}

std::vector<Finding> FindingList::listed() const {
  std::vector<Finding> all;
  std::map<Place, std::size_t> seen;
  for (const Finding& finding : findings_) {
    all.push_back(finding);
    const Place place{finding.kind, finding.table, finding.column};
    const std::size_t count = counts_.at(place);
    if (++seen[place] < kListed || count == kListed) continue;
    Finding rest;
    rest.kind = finding.kind;
    rest.table = finding.table;
    rest.column = finding.column;
    rest.text = "and " + std::to_string(count - kListed) + " more like these";
    all.push_back(std::move(rest));
  }
  return all;
}

std::size_t FindingList::count(Severity severity) const {
  std::size_t total = 0;
  for (const auto& [place, count] : counts_) {
    if (description_of(std::get<Kind>(place)).severity == severity) total += count;
  }
  return total;
}

bool FindingList::has(Kind kind) const {
  for (const auto& [place, count] : counts_) {
    if (std::get<Kind>(place) == kind) return true;
  }
  return false;
}

}  // namespace korvane::sqlite
