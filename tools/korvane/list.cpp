#include <iostream>
#include <memory>
#include <string>

#include "schedule/totals.h"
#include "tools/korvane/commands.h"
#include "tools/korvane/output_options.h"
#include "tools/korvane/project_options.h"
#include "tools/korvane/standard_output.h"

namespace korvane::tools {

using model::cad::Project_Service;
using schedule::Table;

namespace {

struct ListOptions {
  ProjectOptions project;
  schedule::Selection selection;
  bool are_totals = false;
  OutputOptions output;
};

void print_totals(const std::vector<schedule::SelectedRevision>& selected,
                  const std::map<std::int32_t, schedule::Totals>& totals,
                  const OutputOptions& options) {
  schedule::Totals all;
  for (const schedule::SelectedRevision& each : selected) {
    const auto found = totals.find(each.revision->record.id);
    if (found != totals.end()) all += found->second;
  }
  TablePrinter printer(options, TablePrinter::Tables::several, std::cout);
  const std::string note = schedule::several_revisions_note(selected);
  if (!note.empty()) printer.print_heading(note);
  for (const Table& table : schedule::totals_tables(all)) {
    const bool is_needed = !table.rows.empty() || table.name == "bar_totals";
    if (!printer.is_for_people() || is_needed) printer.print(table);
  }
  printer.finish();
}

int run_list(const ListOptions& options, const CommonOptions& common) {
  with_project(options.project, common, Purpose::reading, [&](Project_Service& project) {
    const schedule::Structure structure = schedule::read_structure(project);
    const auto selected = schedule::select_revisions(structure, options.selection);
    const auto totals = schedule::totals_by_revision(project, structure);
    if (options.are_totals) return print_totals(selected, totals, options.output);
    TablePrinter printer(options.output, TablePrinter::Tables::one, std::cout);
    printer.print(schedule::revisions_table(structure, selected, totals));
    printer.finish();
  });
  require_output();
  return kDone;
}

}  // namespace

Command add_list(CLI::App& program) {
  const auto options = std::make_shared<ListOptions>();
  CLI::App* const command = program.add_subcommand(
      "list", "List sheets and revisions with their marks, pieces and kilograms");
  command->add_option("PROJECT", options->project.file, "The project file")->required();
  command->add_option("--sheet", options->selection.sheet, "Only sheets of this name");
  command->add_option("--revision", options->selection.revision, "Only revisions of this name");
  command->add_flag("--totals", options->are_totals,
                    "What they come to instead: bars by diameter and steel, fabrics by type, bar "
                    "spacers and mounting parts by name");
  add_output_options(*command, options->output);
  add_server_options(*command, options->project);
  command->footer(
      "Examples:\n"
      "  korvane list guideline.db\n"
      "  korvane list guideline.db --totals\n"
      "  korvane list guideline.db --format csv >revisions.csv");
  return {command, [options](const CommonOptions& common) { return run_list(*options, common); }};
}

}  // namespace korvane::tools
