#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/project_rpc/project_service.h"
#include "schedule/import_plan.h"

namespace korvane::schedule {

/// What becomes of the bars, fabrics and bar spacers that a revision has already. Its mounting parts
/// stay in any case: no format of an import has them.
enum class IfFilled { refuse, replace, append };

/// A revision that an import has filled, with the numbers of imported lines.
struct ImportedRevision {
  std::int32_t id = 0;
  std::string sheet;
  std::string revision;
  std::size_t bars = 0;
  std::size_t fabrics = 0;
  std::size_t bar_spacers = 0;
  /// That it had: they are replaced, or come first.
  std::size_t lines_before = 0;
};

/// Stores what a plan has, without its faulty records. Finds each sheet, revision, material and
/// fabric type by its name or makes it; a fabric type that is there stays as it is. The name of the
/// plan's project is kept in the project record under "project", unless there is one already.
/// Returns the revisions in the order of the plan.
///
/// New revisions are shown all at once, after the last operation. Those that are there already are
/// changed before that, one by one, each whole or not at all. A failure takes back all that is new,
/// as far as the project lets it, but not the revisions that were changed until then.
///
/// Throws krv::rpc4::BadRequest
///
/// - "revision \"a\" of sheet \"417\" has 19 schedule lines already: replace them, append to them,
///   or name another revision", where needed with " (and 3 other revisions have lines)", for
///   `IfFilled::refuse` and before anything is stored
/// - what replace_content throws (schedule/changes.h)
///
/// and what the project throws.
std::vector<ImportedRevision> import_plan(model::cad::Project_Service& project,
                                          const ImportPlan& plan, IfFilled if_filled,
                                          const Progress& progress = {});

}  // namespace korvane::schedule
