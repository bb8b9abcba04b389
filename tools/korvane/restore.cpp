#include <iostream>
#include <memory>
#include <string>

#include "sqlite/backup.h"
#include "tools/korvane/commands.h"
#include "tools/korvane/copy_command.h"
#include "tools/korvane/terminal_text.h"

namespace korvane::tools {

namespace {

struct RestoreOptions {
  std::string backup;
  std::string project;
  bool is_replacing = false;
  OutputOptions output;
};

int run_restore(const RestoreOptions& options) {
  sqlite::CopyOptions copy;
  copy.is_replacing = options.is_replacing;
  print_copy("restored", options.output, copy, [&](const sqlite::CopyOptions& how) {
    sqlite::CopyResult result = sqlite::restore(options.backup, options.project, how);
    if (result.is_replaced && !options.output.is_quiet) {
      std::cerr << printable(options.project)
                << ": was not a whole database and is a new file now: reload a server that has it "
                   "open\n";
    }
    return result;
  });
  return kDone;
}

}  // namespace

Command add_restore(CLI::App& program) {
  const auto options = std::make_shared<RestoreOptions>();
  CLI::App* const command =
      program.add_subcommand("restore", "Put a backup in the place of a project");
  command->add_option("BACKUP", options->backup, "The copy")->required();
  command->add_option("PROJECT", options->project, "The project file")->required();
  command->add_flag("--force", options->is_replacing, "Replace a project that has content");
  add_output_options(*command, options->output);
  command->footer(
      "The backup is checked first. A project that is there is overwritten in one transaction: a "
      "server that has it open has the restored content from its next call on, and whoever kills "
      "this program leaves the old content.\n\n"
      "Examples:\n"
      "  korvane restore /backups/tower.db tower.db\n"
      "  korvane restore /backups/tower.db /srv/projects/tower.db --force");
  return {command, [options](const CommonOptions&) { return run_restore(*options); }};
}

}  // namespace korvane::tools
