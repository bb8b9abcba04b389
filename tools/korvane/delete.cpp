#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "schedule/changes.h"
#include "schedule/structure.h"
#include "tools/korvane/commands.h"
#include "tools/korvane/exit_codes.h"
#include "tools/korvane/project_options.h"
#include "tools/korvane/terminal_text.h"

namespace korvane::tools {

using model::cad::Project_Service;

namespace {

struct DeleteOptions {
  ProjectOptions project;
  std::string sheet;
  std::optional<std::string> revision;
  bool is_quiet = false;
};

/// Removes the selected revisions, and their sheets where no revision was named.
void delete_selected(const DeleteOptions& options, Project_Service& project) {
  schedule::finish_changes(project);
  const schedule::Structure structure = schedule::read_structure(project);
  const auto selected = schedule::select_revisions(structure, {options.sheet, options.revision});
  const auto tell = [&](const std::string& what) {
    if (!options.is_quiet) std::cerr << "deleted " << printable(what) << '\n';
  };
  for (const schedule::SelectedRevision& one : selected) {
    schedule::remove_revision(project, one.revision->record.id);
    tell(schedule::name_of(one));
  }
  if (options.revision) return;
  for (const schedule::SheetEntry& sheet : structure.sheets) {
    if (sheet.record.name != options.sheet || sheet.record.id < 0) continue;
    schedule::remove_sheet(project, sheet.record.id);
    tell("sheet \"" + sheet.record.name + "\"");
  }
}

int run_delete(const DeleteOptions& options, const CommonOptions& common) {
  with_project(options.project, common, Purpose::changing,
               [&](Project_Service& project) { delete_selected(options, project); });
  return kDone;
}

}  // namespace

Command add_delete(CLI::App& program) {
  const auto options = std::make_shared<DeleteOptions>();
  CLI::App* const command =
      program.add_subcommand("delete", "Remove a sheet or a revision with all that belongs to it");
  command->add_option("PROJECT", options->project.file, "The project file")->required();
  command->add_option("--sheet", options->sheet, "The sheet")->required();
  command->add_option("--revision", options->revision,
                      "Only this revision; without it the sheet with all of its revisions");
  command->add_flag("-q,--quiet", options->is_quiet, "Print nothing but errors");
  add_server_options(*command, options->project);
  command->footer(
      "A catalogue entry (steel, fabric type) that is used no more stays. On a server the token "
      "needs the scopes read, write and sql.\n\n"
      "Examples:\n"
      "  korvane delete tower.db --sheet 417 --revision a\n"
      "  korvane delete tower.db --sheet 417");
  return {command, [options](const CommonOptions& common) { return run_delete(*options, common); }};
}

}  // namespace korvane::tools
