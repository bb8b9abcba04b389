#include "tools/korvane/embedded_project.h"

#include <stdexcept>
#include <utility>

#include <boost/dll/runtime_symbol_info.hpp>

#include "platform/project_rpc/project_manager_service.h"
#include "platform/rpc4/directory.h"

namespace korvane::tool {

using model::cad::Project_Service;
using model::cad::ProjectManager_Metadata;
using model::cad::ProjectManager_Service;

EmbeddedProject::EmbeddedProject(const boost::filesystem::path& plugin_folder,
                                 const std::string& filename) {
  for (const auto& library : host::find_plugins(plugin_folder)) {
    plugins_.push_back(std::make_unique<host::Plugin>(library));
  }
  auto* const manager =
      krv::rpc4::find_service<ProjectManager_Service>(ProjectManager_Metadata::GlobalInstanceID);
  if (manager == nullptr) {
    throw std::runtime_error("no plugin in " + plugin_folder.string() + " opens projects");
  }
  model::OpenProjectRequest request;
  request.filename = filename;
  model::OpenProjectResponse response;
  manager->open(std::move(request), response, krv::rpc4::PeerInfo{});
  service_ = krv::rpc4::find_service<Project_Service>(response.service_id);
  if (service_ == nullptr) {
    throw std::runtime_error("the project's service " + response.service_id + " is not live");
  }
}

boost::filesystem::path default_plugin_folder() {
  return boost::dll::program_location().parent_path().parent_path() / "plugins";
}

}  // namespace korvane::tool
