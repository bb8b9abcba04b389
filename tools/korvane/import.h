#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/project_rpc/project_service.h"
#include "schedule/bvbs/bvbs_lines.h"

namespace korvane::tool {

/// A schedule read from a file, before anything of it is stored.
struct ScheduleFile {
  std::vector<bvbs::BarLine> bars;
  std::vector<bvbs::FabricLine> fabrics;
  std::vector<bvbs::BarSpacerLine> bar_spacers;
  /// The records that have no home here, counted by their group.
  std::map<std::string, std::size_t> passed_over;
  /// Lines that a person should know of: "line 3: …".
  std::vector<std::string> remarks;
};

/// Names that take the place of those in the records' headers.
struct ScheduleNames {
  std::optional<std::string> sheet;
  std::optional<std::string> revision;
};

/// Reads a BVBS file. Bars (BF2D, BF3D, BFWE), fabrics (BFMA) and bar spacers (BFAU) have a home,
/// other records are counted. A record without a drawing number gets the file's name for its sheet,
/// unless `names` says otherwise. Throws bvbs::RecordError at the first record that is wrong, and
/// std::runtime_error "cannot read <filename>".
ScheduleFile read_schedule(const std::string& filename, const ScheduleNames& names);

/// One revision that an import has filled.
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
/// project record under "project", if there is none yet. Nothing of the schedule stays behind when
/// it fails. Throws std::runtime_error for a revision that has content already: a second import
/// would double it.
std::vector<ImportedRevision> store_schedule(model::cad::Project_Service& project,
                                             const ScheduleFile& schedule);

}  // namespace korvane::tool
