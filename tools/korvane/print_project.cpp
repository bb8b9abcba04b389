#include "tools/korvane/print_project.h"

#include <optional>
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

bool is_printed(const Table& table, const Printed& printed) {
  return !printed.kind || table.name == *printed.kind;
}

/// Prints a revision for programs, a part of its lines after the other. Returns how many it has.
std::size_t print_in_parts(const ContentReader& reader, const Structure& structure,
                           const SelectedRevision& revision, const Printed& printed,
                           TablePrinter& printer) {
  std::size_t lines = 0;
  const auto print = [&](const Content& part, bool is_whole) {
    for (const Table& table : schedule::content_tables(structure, revision, part)) {
      if (is_printed(table, printed) && (is_whole || !table.rows.empty())) printer.print(table);
    }
  };
  print({}, true);
  reader.read_in_parts(revision.revision->content_id, [&](Content&& part) {
    keep_printed(part, printed);
    lines += part.size();
    print(part, false);
  });
  return lines;
}

/// Prints a revision for people. None if it has nothing of what is to be printed.
std::optional<Content> print_whole(const ContentReader& reader, const Structure& structure,
                                   const SelectedRevision& revision, const Printed& printed,
                                   TablePrinter& printer) {
  Content content = reader.read(revision.revision->content_id);
  keep_printed(content, printed);
  if (content.size() == 0 && (printed.mark || printed.kind)) return std::nullopt;
  printer.print_heading(heading_of(revision) + (content.size() == 0 ? ": no content" : ""));
  for (const Table& table : schedule::content_tables(structure, revision, content)) {
    if (is_printed(table, printed) && !table.rows.empty()) printer.print(table);
  }
  return content;
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
    if (!printer.is_for_people()) {
      marks += print_in_parts(reader, structure, each, printed, printer);
      continue;
    }
    const std::optional<Content> content = print_whole(reader, structure, each, printed, printer);
    if (!content) continue;
    marks += content->size();
    ++shown;
    const Totals totals = schedule::totals_of(structure, *content);
    print_totals(totals, printer);
    all += totals;
  }
  if (printed.mark && marks == 0) {
    throw krv::rpc4::NotFound("no mark \"" + *printed.mark + "\" in " +
                              (selected.size() == 1
                                   ? name_of(selected[0])
                                   : std::to_string(selected.size()) + " revisions"));
  }
  if (shown > 1) {
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
