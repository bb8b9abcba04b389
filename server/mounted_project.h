#pragma once

#include <vector>

#include "host/service/mounted.h"
#include "platform/project_rpc/project_service.h"
#include "schedule/structure.h"

/// What the routes of schedules have in common.
namespace korvane::server {

/// The project of a call. Throws krv::rpc4::NotFound for one of another kind.
model::cad::Project_Service& project_of(const host::MountedCall& call);

/// The parameters "sheet" and "revision", and what they select.
std::vector<host::MountedParameter> selection_parameters();
schedule::Selection selection_of(const host::MountedCall& call);

}  // namespace korvane::server
