#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "schedule/bvbs/schedule.h"
#include "tools/korvane/commands.h"
#include "tools/korvane/print_project.h"
#include "tools/korvane/project_options.h"
#include "tools/korvane/standard_output.h"
#include "tools/korvane/store_schedule.h"
#include "tools/korvane/terminal_text.h"

namespace korvane::tools {

using model::cad::Project_Service;
using schedule::bvbs::Schedule;

namespace {

struct ImportOptions {
  std::string file;
  ProjectOptions project;
  schedule::bvbs::ScheduleNames names;
};

void report_import(const std::vector<ImportedRevision>& revisions, const Schedule& schedule,
                   const std::string& file) {
  for (const ImportedRevision& revision : revisions) {
    std::cerr << "imported " << format_count(revision.bars, "bar mark") << ", "
              << format_count(revision.fabrics, "fabric mark") << " and "
              << format_count(revision.bar_spacers, "bar spacer mark") << " into sheet \""
              << printable(revision.sheet) << "\", revision \"" << printable(revision.revision)
              << "\"\n";
  }
  if (revisions.empty()) std::cerr << "nothing to import in " << file << '\n';
  for (const auto& [group, count] : schedule.skipped) {
    std::cerr << "skipped " << format_count(count, group + " record")
              << ": a project has no place for them\n";
  }
}

int run_import(const ImportOptions& options, const CommonOptions& common) {
  const Schedule schedule = schedule::bvbs::read_schedule_file(options.file, options.names);
  for (const std::string& remark : schedule.remarks) std::cerr << printable(remark) << '\n';
  with_project(options.project, common, Purpose::writing, [&](Project_Service& project) {
    const std::vector<ImportedRevision> revisions = store_schedule(project, schedule);
    report_import(revisions, schedule, options.file);
    bool is_first = true;
    for (const ImportedRevision& revision : revisions) {
      if (!is_first) std::cout << '\n';
      is_first = false;
      print_revision(project, revision.id, std::cout);
    }
  });
  require_output();
  return kDone;
}

}  // namespace

Command add_import(CLI::App& program) {
  const auto options = std::make_shared<ImportOptions>();
  CLI::App* const command = program.add_subcommand(
      "import", "Store the bar schedule of a BVBS file (.abs) in a project, and print it");
  command->add_option("FILE", options->file, "The BVBS file")->required()->check(CLI::ExistingFile);
  command->add_option("--project", options->project.file, "The project file; made if it is missing")
      ->required();
  command->add_option("--sheet", options->names.sheet, "Sheet name, instead of the records' own");
  command->add_option("--revision", options->names.revision,
                      "Revision name, instead of the records' own");
  add_server_options(*command, options->project);
  command->footer("Example:\n  korvane import examples/guideline.abs --project guideline.db");
  return {command, [options](const CommonOptions& common) { return run_import(*options, common); }};
}

}  // namespace korvane::tools
