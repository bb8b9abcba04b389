#include "schedule/edit.h"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "tools/korvane/commands.h"
#include "tools/korvane/exit_codes.h"
#include "tools/korvane/output_options.h"
#include "tools/korvane/project_options.h"
#include "tools/korvane/standard_output.h"

namespace korvane::tools {

using model::cad::Project_Service;

namespace {

struct EditOptions {
  ProjectOptions project;
  schedule::Selection selection;
  std::string mark;
  std::vector<std::string> assignments;
  bool is_trial = false;
  OutputOptions output;
};

schedule::Table table_of(const schedule::EditedBar& bar) {
  schedule::Table table;
  table.name = "changes";
  for (const char* const name : {"field", "before", "after"}) {
    schedule::Column& column = table.columns.emplace_back();
    column.name = column.title = name;
  }
  for (const schedule::FieldDifference& change : bar.changes) {
    table.rows.push_back({change.field, change.before, change.after});
  }
  return table;
}

int run_edit(const EditOptions& options, const CommonOptions& common) {
  std::vector<schedule::Assignment> assignments;
  for (const std::string& text : options.assignments) {
    assignments.push_back(schedule::parse_assignment(text));
  }
  schedule::EditedBar bar;
  with_project(options.project, common, options.is_trial ? Purpose::reading : Purpose::changing,
               [&](Project_Service& project) {
                 bar = schedule::edit_bar(project, options.selection, options.mark, assignments,
                                          options.is_trial);
               });
  if (options.output.is_quiet) return kDone;
  if (bar.changes.empty()) std::cerr << "nothing changes\n";
  TablePrinter printer(options.output, TablePrinter::Tables::one, std::cout);
  if (!bar.changes.empty()) printer.print(table_of(bar));
  printer.finish();
  require_output();
  return kDone;
}

}  // namespace

Command add_edit(CLI::App& program) {
  const auto options = std::make_shared<EditOptions>();
  CLI::App* const command = program.add_subcommand("edit", "Correct a bar of a revision");
  command->add_option("PROJECT", options->project.file, "The project file")->required();
  command->add_option("--sheet", options->selection.sheet, "The sheet")->required();
  command->add_option("--revision", options->selection.revision, "The revision")->required();
  command->add_option("--mark", options->mark, "The bar's mark, as MARK.SUBMARK where it has both")
      ->required();
  command
      ->add_option("FIELD=VALUE", options->assignments,
                   "A field by its name or its path in the JSON of the bar, and its new value; "
                   "null takes a value away")
      ->required();
  command->add_flag("--dry-run", options->is_trial, "Print what would change, and store nothing");
  add_output_options(*command, options->output);
  add_server_options(*command, options->project);
  command->footer(
      "Another number of pieces keeps the length of one; the line of an imported file is dropped "
      "where it says otherwise. On a server the token needs the scopes read, write and sql.\n\n"
      "Examples:\n"
      "  korvane edit tower.db --sheet 417 --revision a --mark 10 total_bars=12\n"
      "  korvane edit tower.db --sheet 417 --revision a --mark 10 steel=B500A \\\n"
      "      geometry.objects[0].length=250 --dry-run");
  return {command, [options](const CommonOptions& common) { return run_edit(*options, common); }};
}

}  // namespace korvane::tools
