#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/plugins/failure_text.h"
#include "tools/korvane/commands.h"
#include "tools/korvane/exit_codes.h"
#include "tools/korvane/help.h"
#include "tools/korvane/standard_output.h"
#include "tools/korvane/terminal_text.h"

namespace korvane::tools {
namespace {

int run(int argc, char** argv) {
  CommonOptions options;
  CLI::App program("korvane keeps the reinforcement data of structural CAD projects.", "korvane");
  program.formatter(std::make_shared<HelpFormatter>());
  program.require_subcommand(1);
  program.fallthrough();
  program.set_version_flag("--version", std::string("korvane ") + KORVANE_VERSION,
                           "Print the version and exit");
  program.add_option("--plugins", options.plugins, "Folder of the plugin libraries")
      ->capture_default_str();
  program.add_flag("-v,--verbose", options.is_verbose, "Print the plugins' trace lines as well");
  std::vector<Command> commands;
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
           add_schema,
           add_serve,
           add_token,
       }) {
    commands.push_back(add(program));
  }
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (program.exit(error) != 0) return kWrongUsage;
    require_output();  // the help that was asked for
    return kDone;
  }
  for (const Command& command : commands) {
    if (command.subcommand->parsed()) return command.run(options);
  }
  return kDone;
}

}  // namespace
}  // namespace korvane::tools

int main(int argc, char** argv) {
  try {
    return korvane::tools::run(argc, argv);
  } catch (const std::exception& failure) {
    std::cerr << "korvane: " << korvane::tools::printable(korvane::host::failure_text(failure))
              << '\n';
  }
  return korvane::tools::kFailed;
}
