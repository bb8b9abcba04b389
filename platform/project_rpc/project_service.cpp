#include "platform/project_rpc/project_service.h"

#include "contracts/cad/contracts.describe.h"
#include "platform/project_rpc/make_skeleton.h"
#include "platform/project_rpc/table.describe.h"

namespace korvane::model::cad {

using Skeleton = Project_Service;

Project_Service::Project_Service(std::string id) : id_(std::move(id)) {}
Project_Service::~Project_Service() = default;

KORVANE_PROJECT_OPERATIONS(KORVANE_DELIVER_OPERATION)

const krv::rpc4::ServiceDefinition& Project_Service::definition() {
  static constexpr std::array operations = {KORVANE_PROJECT_OPERATIONS(KORVANE_TABLE_ENTRY)};
  static constexpr krv::rpc4::ServiceDefinition definition{"korvane.model.cad.Project_Service",
                                                           operations};
  return definition;
}

}  // namespace korvane::model::cad
