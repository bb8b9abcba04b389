#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/project_rpc/project_service.h"
#include "schedule/bvbs/schedule.h"

namespace korvane::tools {

/// One revision that an import has filled, with the number of its lines.
struct ImportedRevision {
  std::int32_t id = 0;
  std::string sheet;
  std::string revision;
  std::size_t bars = 0;
  std::size_t fabrics = 0;
  std::size_t bar_spacers = 0;
};

/// Stores `schedule`: finds each sheet, revision, material and fabric type by name or makes it, and
/// sends the lines of each kind in one batch. The first project name of the headers is kept in the
/// project record under "project", unless there is one already. Returns the revisions in the order
/// of their ids.
///
/// Throws std::runtime_error for a revision that has schedule lines already, since a second import
/// would double them, and what the project throws. It then takes back all that it has stored, as
/// far as the project lets it.
std::vector<ImportedRevision> store_schedule(model::cad::Project_Service& project,
                                             const schedule::bvbs::Schedule& schedule);

}  // namespace korvane::tools
