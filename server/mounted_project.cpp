#include "server/mounted_project.h"

#include "platform/rpc4/failure.h"

namespace korvane::server {

using host::MountedCall;
using model::cad::Project_Service;

Project_Service& project_of(const MountedCall& call) {
  if (call.definition != &Project_Service::definition()) {
    throw krv::rpc4::NotFound("this server's projects have no schedules");
  }
  return *static_cast<Project_Service*>(call.service);
}

std::vector<host::MountedParameter> selection_parameters() {
  return {{"sheet", "Only sheets of this name"}, {"revision", "Only revisions of this name"}};
}

schedule::Selection selection_of(const MountedCall& call) {
  return {call.parameter("sheet"), call.parameter("revision")};
}

}  // namespace korvane::server
