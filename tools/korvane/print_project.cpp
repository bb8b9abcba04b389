#include "tools/korvane/print_project.h"

#include <set>
#include <string>
#include <utility>

#include "platform/rpc4/failure.h"
#include "schedule/content_tables.h"
#include "schedule/line_text.h"
#include "schedule/totals.h"

namespace korvane::tools {

using model::cad::Project_Service;
using schedule::Content;
using schedule::ContentReader;
using schedule::SelectedRevision;
using schedule::Structure;
using schedule::Table;
using schedule::Totals;

namespace {

std::string heading_of(const SelectedRevision& selected) {
  const std::string& sheet = selected.sheet->record.name;
  const std::string& revision = selected.revision->record.name;
  return "Sheet " + (sheet.empty() ? "(unnamed)" : sheet) + ", revision " +
         (revision.empty() ? "(unnamed)" : revision);
}

/// Removes what is not to be printed.
void keep_printed(Content& content, const Printed& printed) {
  schedule::for_each_kind(
      [&](auto& list) {
        std::erase_if(list, [&](const auto& item) {
          return printed.mark && item.mark != *printed.mark &&
                 schedule::label_of(item) != *printed.mark;
        });
      },
      content);
  if (!printed.kind) return;
  Content kept;
  if (*printed.kind == "bars") kept.bars = std::move(content.bars);
  if (*printed.kind == "fabrics") kept.fabrics = std::move(content.fabrics);
  if (*printed.kind == "bar_spacers") kept.bar_spacers = std::move(content.bar_spacers);
  if (*printed.kind == "mounting_parts") kept.mounting_parts = std::move(content.mounting_parts);
  content = std::move(kept);
}

void print_totals(const Totals& totals, TablePrinter& printer) {
  for (const Table& table : schedule::totals_tables(totals)) {
    if (!table.rows.empty()) printer.print_for_people(table);
  }
}

}  // namespace

void print_revisions(Project_Service& project, const Structure& structure,
                     const std::vector<SelectedRevision>& selected, const Printed& printed,
                     TablePrinter& printer) {
  const ContentReader reader(project);
  Totals all;
  std::size_t shown = 0;
  std::size_t marks = 0;
  for (const SelectedRevision& each : selected) {
    Content content = reader.read(each.revision->content_id);
    keep_printed(content, printed);
    const bool is_filtered = printed.mark || printed.kind;
    if (content.size() == 0 && is_filtered && printer.is_for_people()) continue;
    marks += content.size();
    ++shown;
    printer.print_heading(heading_of(each) + (content.size() == 0 ? ": no content" : ""));
    for (const Table& table : schedule::content_tables(structure, each, content)) {
      if (printed.kind && table.name != *printed.kind) continue;
      if (!printer.is_for_people() || !table.rows.empty()) printer.print(table);
    }
    if (!printer.is_for_people()) continue;
    const Totals totals = schedule::totals_of(structure, content);
    print_totals(totals, printer);
    all += totals;
  }
  if (printed.mark && marks == 0) {
    throw krv::rpc4::NotFound("no mark \"" + *printed.mark + "\" in " +
                              (selected.size() == 1
                                   ? name_of(selected[0])
                                   : std::to_string(selected.size()) + " revisions"));
  }
  if (shown > 1 && printer.is_for_people()) {
    const std::string note = schedule::several_revisions_note(selected);
    printer.print_heading("All " + std::to_string(shown) + " revisions" +
                          (note.empty() ? "" : ": " + note));
    print_totals(all, printer);
  }
}

void print_revisions(Project_Service& project, const std::vector<std::int32_t>& rev_ids,
                     std::ostream& output) {
  const Structure structure = schedule::read_structure(project);
  const std::set<std::int32_t> wanted(rev_ids.begin(), rev_ids.end());
  std::vector<SelectedRevision> selected = schedule::select_revisions(structure, {});
  std::erase_if(selected, [&](const SelectedRevision& each) {
    return wanted.count(each.revision->record.id) == 0;
  });
  TablePrinter printer({}, TablePrinter::Tables::several, output);
  print_revisions(project, structure, selected, {}, printer);
  printer.finish();
}

void print_revision(Project_Service& project, std::int32_t rev_id, std::ostream& output) {
  print_revisions(project, std::vector{rev_id}, output);
}

}  // namespace korvane::tools
