#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "host/model_server.h"

namespace korvane::tool {

struct ServeOptions {
  std::string plugins;
  std::string root = ".";
  std::string listen = "127.0.0.1:8420";
  std::optional<std::string> tokens;
  std::optional<std::string> tls_certificate;
  std::optional<std::string> tls_key;
  std::vector<std::string> host_names;
  host::ModelServerLimits limits;
  /// As many as the process's limit of descriptors allows, up to thousands.
  std::optional<std::size_t> open_projects;
  std::chrono::milliseconds stop_time = std::chrono::seconds(20);
  bool is_verbose = false;
};

/// Serves the projects in a folder until SIGTERM or SIGINT comes: prints the address on stdout and
/// logs on stderr, a JSON object a line. Makes the folder the process's current directory. A second
/// signal ends the process at once, and so does the end of `stop_time` while a call still runs: no
/// plugin can be stopped beside it, and SQLite takes back what it had not committed.
///
/// SIGHUP has tokens and certificate read anew and the plugins restarted, which closes the
/// projects. What cannot be read stays as it was, and the log says so.
///
/// Called once, from the program's first thread and before there are others. Throws
/// std::runtime_error for what keeps it from starting.
void serve(const ServeOptions& options);

}  // namespace korvane::tool
