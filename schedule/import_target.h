#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/project_rpc/project_service.h"
#include "schedule/content.h"
#include "schedule/import.h"
#include "schedule/structure.h"

/// Where the lines of a plan go.
namespace korvane::schedule {

/// A revision of the plan, and what it is in the project.
struct ImportTarget {
  const PlannedRevision* planned = nullptr;
  /// None for one that is to be made.
  std::optional<RevisionEntry> existing;
  /// -1 for one that is to be made.
  std::int32_t sheet_id = -1;
  ImportedRevision result;
};

/// Of all revisions of schedules, in the plan's order. Refer to the plan.
std::vector<ImportTarget> targets_of(const ImportPlan& plan, const Structure& structure);

/// Whether a revision is there already.
bool has_existing(const std::vector<ImportTarget>& targets);

/// Counts what the revisions have already.
void count_lines_before(const ContentReader& reader, std::vector<ImportTarget>& targets);

}  // namespace korvane::schedule
