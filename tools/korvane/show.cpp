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
  std::optional<std::string> revision;
};

int run_show(const ShowOptions& options, const CommonOptions& common) {
  with_project(options.project, common, Purpose::reading, [&](Project_Service& project) {
    print_project(project, options.revision, std::cout);
  });
  require_output();
  return kDone;
}

}  // namespace

Command add_show(CLI::App& program) {
  const auto options = std::make_shared<ShowOptions>();
  CLI::App* const command = program.add_subcommand("show", "Print the bar schedules of a project");
  command->add_option("PROJECT", options->project.file, "The project file")->required();
  command->add_option("--revision", options->revision, "Only revisions of this name");
  add_server_options(*command, options->project);
  command->footer("Example:\n  korvane show guideline.db --revision a");
  return {command, [options](const CommonOptions& common) { return run_show(*options, common); }};
}

}  // namespace korvane::tools
