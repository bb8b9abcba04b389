#include "platform/project_rpc/services.h"

#include <array>

#include "platform/project_rpc/project_manager_service.h"
#include "platform/project_rpc/project_service.h"

namespace korvane::rpc {

std::span<const krv::rpc4::ServiceDefinition* const> service_definitions() {
  static const std::array definitions = {&model::cad::ProjectManager_Service::definition(),
                                         &model::cad::Project_Service::definition()};
  return definitions;
}

}  // namespace korvane::rpc
