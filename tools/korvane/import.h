#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/project_rpc/project_service.h"
#include "tools/korvane/bvbs_rebar.h"

namespace korvane::tool {

/// A bar schedule read from a file, before anything of it is stored.
struct ScheduleFile {
  std::vector<bvbs::FlatBar> bars;
  /// The records that have no home yet, counted by their group.
  std::map<std::string, std::size_t> passed_over;
  /// Lines that a person should know of: "line 3: …".
  std::vector<std::string> remarks;
};

/// Names that take the place of those in the records' headers.
struct ScheduleNames {
  std::optional<std::string> sheet;
  std::optional<std::string> revision;
};

/// Reads the BF2D records of a BVBS file. A record without a drawing number gets the file's name
/// for its sheet, unless `names` says otherwise. Throws bvbs::RecordError at the first record that
/// is wrong, and std::runtime_error "cannot read <filename>".
ScheduleFile read_schedule(const std::string& filename, const ScheduleNames& names);

/// One revision that an import has filled.
struct ImportedRevision {
  std::int32_t id = 0;
  std::string sheet;
  std::string revision;
  std::size_t bars = 0;
};

/// Stores the bars of `schedule`: finds each sheet, revision and material by name or makes it, and
/// sends all bars in one batch. Nothing of the schedule stays behind when it fails. Throws
/// std::runtime_error for a revision that has bars already: a second import would double them.
std::vector<ImportedRevision> store_schedule(model::cad::Project_Service& project,
                                             const ScheduleFile& schedule);

}  // namespace korvane::tool
