#include "tools/korvane/embedded_project.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <boost/dll/runtime_symbol_info.hpp>

#include "platform/app/database_file.h"
#include "platform/project_rpc/project_manager_service.h"
#include "platform/rpc4/directory.h"
#include "sqlite/journal_files.h"

namespace korvane::tools {

using model::cad::Project_Service;
using model::cad::ProjectManager_Metadata;
using model::cad::ProjectManager_Service;

namespace {

/// Looks at the file as it will be opened: to SQLite "a.db/" is a.db.
void require_project(const std::string& filename, EmbeddedProject::IfMissing if_missing) {
  std::error_code failure;
  const std::filesystem::file_status status = std::filesystem::status(filename, failure);
  if (status.type() == std::filesystem::file_type::not_found) {
    if (if_missing == EmbeddedProject::IfMissing::make) return;
    throw std::runtime_error("no project " + filename);
  }
  const bool is_file = std::filesystem::is_regular_file(status);
  const bool is_empty = is_file && std::filesystem::file_size(filename, failure) == 0;
  if (is_file && !is_empty && !krv::app::begins_as_database(filename)) {
    throw std::runtime_error("\"" + filename + "\" is not a korvane project: it is not a database");
  }
  sqlite::require_own_journal(filename);
}

ProjectManager_Service* find_manager() {
  return krv::rpc4::find_service<ProjectManager_Service>(ProjectManager_Metadata::GlobalInstanceID);
}

}  // namespace

EmbeddedProject::EmbeddedProject(const boost::filesystem::path& plugin_folder,
                                 const std::string& filename, IfMissing if_missing) {
  require_project(filename, if_missing);
  for (const auto& library : host::find_plugins(plugin_folder)) {
    plugins_.push_back(std::make_unique<host::Plugin>(library));
  }
  if (find_manager() == nullptr) {
    throw std::runtime_error("no plugin in " + plugin_folder.string() + " opens projects");
  }
  service_ = &open(filename, if_missing);
}

Project_Service& EmbeddedProject::open(const std::string& filename, IfMissing if_missing) {
  require_project(filename, if_missing);
  model::OpenProjectRequest request;
  request.filename = filename;
  model::OpenProjectResponse response;
  find_manager()->open(std::move(request), response, krv::rpc4::PeerInfo{});
  auto* const service = krv::rpc4::find_service<Project_Service>(response.service_id);
  if (service == nullptr) {
    throw std::runtime_error("the project's service " + response.service_id + " is not live");
  }
  return *service;
}

void require_project_file(const std::string& filename) {
  require_project(filename, EmbeddedProject::IfMissing::fail);
}

boost::filesystem::path default_plugin_folder() {
  return (boost::dll::program_location().parent_path() / KORVANE_PLUGIN_PATH).lexically_normal();
}

}  // namespace korvane::tools
