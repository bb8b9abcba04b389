#pragma once

#include <functional>
#include <string>

#include <CLI/CLI.hpp>

#include "tools/korvane/embedded_project.h"
#include "tools/korvane/exit_codes.h"

namespace korvane::tools {

/// Options that stand before or after every command.
struct CommonOptions {
  std::string plugins = default_plugin_folder().string();
  bool is_verbose = false;
};

/// A subcommand of the program and its work.
struct Command {
  /// Owned by the program. `parsed()` when the command line names it.
  const CLI::App* subcommand;
  /// Does the work with the options that were parsed. Results go to stdout, all else to stderr.
  /// Returns the program's exit code (exit_codes.h), and throws std::exception for what has failed.
  std::function<int(const CommonOptions&)> run;
};

// Each adds its subcommand with its options to the program, and stands in the file of its name.
Command add_bending_list(CLI::App& program);
Command add_compare(CLI::App& program);
Command add_export(CLI::App& program);
Command add_import(CLI::App& program);
Command add_list(CLI::App& program);
Command add_query(CLI::App& program);
Command add_show(CLI::App& program);
Command add_schema(CLI::App& program);
Command add_edit(CLI::App& program);
Command add_delete(CLI::App& program);
Command add_serve(CLI::App& program);
Command add_token(CLI::App& program);
Command add_check(CLI::App& program);
Command add_backup(CLI::App& program);
Command add_restore(CLI::App& program);
Command add_compact(CLI::App& program);
Command add_optimize(CLI::App& program);
Command add_replicate(CLI::App& program);

}  // namespace korvane::tools
