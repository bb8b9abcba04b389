#include "platform/rpc4/services.h"

#include <array>

#include "platform/project_rpc/project_manager_service.h"
#include "platform/project_rpc/project_service.h"

namespace krv::rpc4 {

std::span<const ServiceDefinition* const> service_definitions() {
  using korvane::model::cad::Project_Service;
  using korvane::model::cad::ProjectManager_Service;
  static const std::array definitions = {&ProjectManager_Service::definition(),
                                         &Project_Service::definition()};
  return definitions;
}

}  // namespace krv::rpc4
