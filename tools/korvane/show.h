#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "platform/project_rpc/project_service.h"

namespace korvane::tool {

/// Prints the bar schedule of one revision, read back from the project, as an aligned table, and
/// the summary by diameter that a query over its columns gives.
void show_revision(model::cad::Project_Service& project, std::int32_t rev_id, std::ostream& output);

/// Prints every revision of the project, or those named `revision` if one is given. Throws
/// std::runtime_error "no revision \"<name>\" in this project".
void show_project(model::cad::Project_Service& project, const std::string* revision,
                  std::ostream& output);

}  // namespace korvane::tool
