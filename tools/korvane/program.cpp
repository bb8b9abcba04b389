#include "tools/korvane/program.h"

#include <memory>
#include <optional>
#include <string>

#include "host/access/durable_commits.h"
#include "tools/korvane/exit_codes.h"
#include "tools/korvane/help.h"
#include "tools/korvane/standard_output.h"

namespace korvane::tools {

Program::Program()
    : app_("korvane keeps the reinforcement data of structural CAD projects.", "korvane") {
  app_.formatter(std::make_shared<HelpFormatter>());
  app_.require_subcommand(1);
  app_.fallthrough();
  app_.set_version_flag("--version", std::string("korvane ") + KORVANE_VERSION,
                        "Print the version and exit");
  app_.add_option("--plugins", options_.plugins, "Folder of the plugin libraries")
      ->capture_default_str();
  app_.add_flag("-v,--verbose", options_.is_verbose, "Print the plugins' trace lines as well");
  for (const auto add : {
           add_import,
           add_export,
           add_list,
           add_show,
           add_bending_list,
           add_compare,
           add_query,
           add_edit,
           add_delete,
           add_check,
           add_backup,
           add_restore,
           add_compact,
           add_optimize,
           add_replicate,
           add_schema,
           add_serve,
           add_token,
       }) {
    commands_.push_back(add(app_));
  }
}

int Program::run(int argc, char** argv) {
  try {
    app_.parse(argc, argv);
    const CLI::Option* const config = app_.get_config_ptr();
    if (config->count() > 0 && !app_.got_subcommand("serve")) {
      throw CLI::ValidationError("--config", "only serve takes its options from a file");
    }
  } catch (const CLI::ParseError& error) {
    if (app_.exit(error) != 0) return kWrongUsage;
    require_output();  // the help that was asked for
    return kDone;
  }
  // Of others than a server, which decides for itself, it is their end that acknowledges.
  std::optional<host::DurableCommits> durable;
  if (!app_.got_subcommand("serve")) durable.emplace();
  for (const Command& command : commands_) {
    if (command.subcommand->parsed()) return command.run(options_);
  }
  return kDone;
}

}  // namespace korvane::tools
