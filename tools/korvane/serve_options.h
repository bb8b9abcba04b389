#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/model_server.h"

namespace korvane::tools {

/// What a server is started with.
struct ServeOptions {
  std::string root = ".";
  std::string listen = "127.0.0.1:8420";
  std::optional<std::string> tokens;
  std::optional<std::string> tls_certificate;
  std::optional<std::string> tls_key;
  std::vector<std::string> host_names;
  /// Empty for none.
  std::string page;
  host::ModelServerLimits limits;
  /// In place of the limit's own, which gives way to the process's limit of descriptors.
  std::optional<std::size_t> open_projects;
  /// Between the signal to end and `stop_time`.
  std::chrono::milliseconds drain_time = std::chrono::seconds(0);
  std::chrono::milliseconds stop_time = std::chrono::seconds(20);
  bool is_optimizing = false;
  /// Other servers serve the folder too.
  bool is_shared = false;
  /// Whoever has the scope copy keeps copies of other projects in the folder.
  bool is_accepting_copies = false;
  /// "extra" or "full", as PRAGMA synchronous has them.
  std::string synchronous = "extra";
};

/// Adds the options of `serve` to its command. Each can be given by the environment too, under its
/// name after KORVANE_SERVE_: KORVANE_SERVE_STOP_TIME is --stop-time.
void add_serve_options(CLI::App& command, ServeOptions& options);

/// Has the program take --config, a file of options of `command`, its subcommand `serve`: a line
/// `name = value` each, by the name after the dashes. What the command line or the environment gives
/// counts before it. A file that names another option, or a value that is not fit, is refused.
void add_config_option(CLI::App& program, const CLI::App& command);

}  // namespace korvane::tools
