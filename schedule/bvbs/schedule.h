#pragma once

#include <cstddef>
#include <istream>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "schedule/bvbs/lines.h"

namespace korvane::schedule::bvbs {

/// The lines of a bar schedule, each kind in the order of the file.
struct Schedule {
  std::vector<BarLine> bars;
  std::vector<FabricLine> fabrics;
  std::vector<BarSpacerLine> bar_spacers;
  /// How many records of each group were skipped, since a project has no place for them.
  std::map<std::string, std::size_t> skipped;
  /// What a person should know about a line: "line 3: …". UTF-8, without the line's own text.
  std::vector<std::string> remarks;
};

/// Names that take the place of those in the records' headers.
struct ScheduleNames {
  std::optional<std::string> sheet;
  std::optional<std::string> revision;
};

/// Reads a schedule. Bars (BF2D, BF3D, BFWE), fabrics (BFMA) and bar spacers (BFAU) become lines,
/// records of other groups are counted. A record without a drawing number gets `unnamed_sheet` for
/// its sheet, unless `names` gives another name.
///
/// Throws RecordError at the first record that is wrong, and what reading `input` throws. Sets the
/// exception mask of `input`, as read_records does.
Schedule read_schedule(std::istream& input, const ScheduleNames& names,
                       const std::string& unnamed_sheet);

/// Reads the schedule in a file, whose name without folder and extension is given to drawings
/// without a number. Throws std::runtime_error "cannot read <filename>" as well.
Schedule read_schedule_file(const std::string& filename, const ScheduleNames& names);

}  // namespace korvane::schedule::bvbs
