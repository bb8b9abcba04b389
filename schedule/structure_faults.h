#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "contracts/cad/revision.h"
#include "contracts/cad/sheet.h"

namespace korvane::schedule {

/// Something about sheets and revisions that whoever works with a project would stumble over.
struct StructureFault {
  enum class Kind {
    /// Is left of a change that was broken off (schedule/changes.h). `finish_changes` ends it.
    unfinished_change,
    /// Belongs to a change whose maker may be at work.
    change_at_work,
    /// Two sheets, or two revisions of one sheet, have the same name, and a command that names one
    /// means both.
    sheet_name,
    revision_name,
  };

  Kind kind{};
  /// Of the sheet or the revision.
  bool is_sheet = false;
  std::int32_t id = 0;
  std::string text;
};

/// The faults of a project's sheets and revisions, all of them, with the ids and uids of their rows
/// and, of a revision, the sheet that its row belongs to. An empty name is none.
std::vector<StructureFault> structure_faults(const std::vector<model::cad::Sheet>& sheets,
                                             const std::vector<model::cad::Revision>& revisions);

}  // namespace korvane::schedule
