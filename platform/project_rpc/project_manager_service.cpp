#include "platform/project_rpc/project_manager_service.h"

#include "platform/project_rpc/make_skeleton.h"
#include "platform/project_rpc/open_project.describe.h"
#include "platform/project_rpc/project_service.h"

namespace korvane::model::cad {

using Skeleton = ProjectManager_Service;

ProjectManager_Service::ProjectManager_Service(std::string id) : id_(std::move(id)) {}
ProjectManager_Service::~ProjectManager_Service() = default;

KORVANE_PROJECT_MANAGER_OPERATIONS(KORVANE_DELIVER_OPERATION)

const krv::rpc4::ServiceDefinition& ProjectManager_Service::definition() {
  static constexpr std::array operations = {
      KORVANE_PROJECT_MANAGER_OPERATIONS(KORVANE_TABLE_ENTRY)};
  static constexpr krv::rpc4::ServiceDefinition definition{
      "korvane.model.cad.ProjectManager_Service", operations, &Project_Service::definition};
  return definition;
}

}  // namespace korvane::model::cad
