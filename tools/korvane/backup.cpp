#include "sqlite/backup.h"

#include <memory>
#include <string>

#include "tools/korvane/commands.h"
#include "tools/korvane/copy_command.h"

namespace korvane::tools {

namespace {

struct BackupOptions {
  std::string project;
  std::string to;
  bool is_replacing = false;
  OutputOptions output;
};

int run_backup(const BackupOptions& options) {
  sqlite::CopyOptions copy;
  copy.is_replacing = options.is_replacing;
  print_copy("backup", options.output, copy, [&](const sqlite::CopyOptions& how) {
    return sqlite::back_up(options.project, options.to, how);
  });
  return kDone;
}

}  // namespace

Command add_backup(CLI::App& program) {
  const auto options = std::make_shared<BackupOptions>();
  CLI::App* const command = program.add_subcommand(
      "backup", "Copy a project as it is at one moment, also while others write to it");
  command->add_option("PROJECT", options->project, "The project file")->required();
  command->add_option("TO", options->to, "The copy, or the folder that gets it")->required();
  command->add_flag("--force", options->is_replacing, "Replace a copy that is there");
  add_output_options(*command, options->output);
  command->footer(
      "The copy is checked before it gets its name. Until then it is \".NAME.part\" in its folder, "
      "which is all that a killed backup can leave.\n\n"
      "Examples:\n"
      "  korvane backup tower.db /backups/\n"
      "  korvane backup tower.db tower-before-import.db\n"
      "  korvane backup /srv/projects/tower.db /backups/tower.db --force");
  return {command, [options](const CommonOptions&) { return run_backup(*options); }};
}

}  // namespace korvane::tools
