#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "tools/korvane/commands.h"
#include "tools/korvane/print_project.h"
#include "tools/korvane/project_options.h"
#include "tools/korvane/standard_output.h"

namespace korvane::tools {

using model::cad::Project_Service;

namespace {

struct ShowOptions {
  ProjectOptions project;
  schedule::Selection selection;
  Printed printed;
  OutputOptions output;
};

int run_show(const ShowOptions& options, const CommonOptions& common) {
  with_project(options.project, common, Purpose::reading, [&](Project_Service& project) {
    const schedule::Structure structure = schedule::read_structure(project);
    const auto selected = schedule::select_revisions(structure, options.selection);
    TablePrinter printer(options.output, TablePrinter::Tables::several, std::cout);
    print_revisions(project, structure, selected, options.printed, printer);
    if (selected.empty()) printer.print_heading("No revisions");
    printer.finish();
  });
  require_output();
  return kDone;
}

}  // namespace

Command add_show(CLI::App& program) {
  const auto options = std::make_shared<ShowOptions>();
  CLI::App* const command = program.add_subcommand(
      "show",
      "Print schedules: bars, fabrics, bar spacers and mounting parts with all that is "
      "stored of them, and their weights");
  command->add_option("PROJECT", options->project.file, "The project file")->required();
  command->add_option("--sheet", options->selection.sheet, "Only sheets of this name");
  command->add_option("--revision", options->selection.revision, "Only revisions of this name");
  command->add_option("--mark", options->printed.mark, "Only lines of this mark");
  command
      ->add_option("--kind", options->printed.kind,
                   "Only bars, fabrics, bar_spacers or mounting_parts")
      ->check(CLI::IsMember({"bars", "fabrics", "bar_spacers", "mounting_parts"}).description(""));
  add_output_options(*command, options->output);
  add_server_options(*command, options->project);
  command->footer(
      "Examples:\n"
      "  korvane show guideline.db --sheet 417 --revision a\n"
      "  korvane show guideline.db --mark 10.1 --wide\n"
      "  korvane show guideline.db --kind bars --format csv >bars.csv");
  return {command, [options](const CommonOptions& common) { return run_show(*options, common); }};
}

}  // namespace korvane::tools
