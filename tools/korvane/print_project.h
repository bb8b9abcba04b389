#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

#include "platform/project_rpc/project_service.h"

namespace korvane::tools {

/// Prints the bar schedule of one revision, read back from the project, as aligned tables, with a
/// summary by diameter, which is made by a query over the columns.
void print_revision(model::cad::Project_Service& project, std::int32_t rev_id,
                    std::ostream& output);

/// Prints every revision of the project, or only those with the name `revision`. Throws
/// std::runtime_error "no revision \"<name>\" in this project".
void print_project(model::cad::Project_Service& project, const std::optional<std::string>& revision,
                   std::ostream& output);

}  // namespace korvane::tools
