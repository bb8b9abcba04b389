#pragma once

#include <functional>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "platform/project_rpc/project_service.h"
#include "tools/korvane/commands.h"

namespace korvane::tools {

/// Where the project of a command is.
struct ProjectOptions {
  /// Path of its file, in the server's folder if there is a server.
  std::string file;
  std::optional<std::string> server;
  std::string token;
};

/// Adds --server and --token.
void add_server_options(CLI::App& command, ProjectOptions& project);

/// What a command does with a project. A file that is missing is made for writing only.
enum class Purpose { reading, changing, writing };

/// Calls `use` with the project: on its server if there is one, else opened in this process, with
/// the plugins' log on stderr meanwhile. Throws what opening it and `use` throw, and
/// std::runtime_error "\"<file>\" is not a korvane project: …" for a database without its tables.
void with_project(const ProjectOptions& project, const CommonOptions& common, Purpose purpose,
                  const std::function<void(model::cad::Project_Service&)>& use);

/// The same with two projects, for reading: `project` and the one in `other_file`, both on the server
/// or both opened in this process.
void with_two_projects(
    const ProjectOptions& project, const std::string& other_file, const CommonOptions& common,
    const std::function<void(model::cad::Project_Service&, model::cad::Project_Service&)>& use);

}  // namespace korvane::tools
