#include "tools/korvane/project_options.h"

#include <stdexcept>

#include <Poco/Data/SQLite/SQLiteException.h>

#include "clients/cpp/remote_project.h"
#include "platform/log/log.h"
#include "tools/korvane/embedded_project.h"

namespace korvane::tools {

using client::RemoteProject;

void add_server_options(CLI::App& command, ProjectOptions& project) {
  command.add_option("--server", project.server,
                     "Address of a server that has the project, such as http://127.0.0.1:8420");
  command.add_option("--token", project.token, "Bearer token for that server")
      ->envname("KORVANE_TOKEN");
}

void with_project(const ProjectOptions& project, const CommonOptions& common, Purpose purpose,
                  const std::function<void(model::cad::Project_Service&)>& use) {
  const bool may_make = purpose == Purpose::writing;
  if (project.server) {
    using IfMissing = RemoteProject::IfMissing;
    RemoteProject remote(*project.server, project.token, project.file,
                         may_make ? IfMissing::make : IfMissing::fail);
    use(remote);
    return;
  }
  using IfMissing = EmbeddedProject::IfMissing;
  const krv::log::StderrSink log(common.is_verbose ? krv::log::trace : krv::log::refused);
  EmbeddedProject embedded(common.plugins, project.file,
                           may_make ? IfMissing::make : IfMissing::fail);
  try {
    use(embedded.service());
  } catch (const Poco::Data::SQLite::InvalidSQLStatementException& failure) {
    // The store's own SQL does not fit the file.
    throw std::runtime_error("\"" + project.file +
                             "\" is not a korvane project: " + failure.displayText());
  }
}

}  // namespace korvane::tools
