#include "tools/korvane/project_options.h"

#include <stdexcept>

#include <Poco/Data/SQLite/SQLiteException.h>

#include "clients/cpp/remote_project.h"
#include "platform/log/log.h"
#include "tools/korvane/embedded_project.h"

namespace korvane::tools {

using client::RemoteProject;
using model::cad::Project_Service;

namespace {

/// Calls `use`, which may find that the store's own SQL does not fit the file.
template <class Use>
void require_tables(const std::string& file, Use use) {
  try {
    use();
  } catch (const Poco::Data::SQLite::InvalidSQLStatementException& failure) {
    throw std::runtime_error("\"" + file + "\" is not a korvane project: " + failure.displayText());
  }
}

}  // namespace

void add_server_options(CLI::App& command, ProjectOptions& project) {
  command.add_option("--server", project.server,
                     "Address of a server that has the project, such as http://127.0.0.1:8420");
  command.add_option("--token", project.token, "Bearer token for that server")
      ->envname("KORVANE_TOKEN");
}

namespace {

client::Options options_of(const ProjectOptions& project) {
  constexpr int kAttempts = 3;  // somebody waits
  client::Options options;
  options.token = project.token;
  options.attempts = kAttempts;
  return options;
}

}  // namespace

void with_project(const ProjectOptions& project, const CommonOptions& common, Purpose purpose,
                  const std::function<void(model::cad::Project_Service&)>& use) {
  const bool may_make = purpose == Purpose::writing;
  if (project.server) {
    using IfMissing = RemoteProject::IfMissing;
    RemoteProject remote(*project.server, project.file, options_of(project),
                         may_make ? IfMissing::make : IfMissing::fail);
    use(remote);
    return;
  }
  using IfMissing = EmbeddedProject::IfMissing;
  const krv::log::StderrSink log(common.is_verbose ? krv::log::trace : krv::log::refused);
  EmbeddedProject embedded(common.plugins, project.file,
                           may_make ? IfMissing::make : IfMissing::fail);
  require_tables(project.file, [&] { use(embedded.service()); });
}

void with_two_projects(const ProjectOptions& project, const std::string& other_file,
                       const CommonOptions& common,
                       const std::function<void(Project_Service&, Project_Service&)>& use) {
  if (project.server) {
    using IfMissing = RemoteProject::IfMissing;
    RemoteProject first(*project.server, project.file, options_of(project), IfMissing::fail);
    RemoteProject second(*project.server, other_file, options_of(project), IfMissing::fail);
    use(first, second);
    return;
  }
  using IfMissing = EmbeddedProject::IfMissing;
  const krv::log::StderrSink log(common.is_verbose ? krv::log::trace : krv::log::refused);
  EmbeddedProject embedded(common.plugins, project.file, IfMissing::fail);
  Project_Service& other = embedded.open(other_file, IfMissing::fail);
  require_tables(project.file + "\" or \"" + other_file, [&] { use(embedded.service(), other); });
}

}  // namespace korvane::tools
