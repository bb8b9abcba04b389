#pragma once

#include <string>
#include <vector>

#include "schedule/bvbs/lines.h"

/// Records as lines of a schedule, from the values that they have now. The line that a record was
/// imported from is used where it still says the same (schedule/bvbs/source.h), byte for byte; where
/// it does not, what is still true of it keeps its spelling.
namespace korvane::schedule::bvbs {

struct WrittenLine {
  /// The bytes of the line with its checksum, in Windows-1252 and without the line's end. Empty if
  /// the format cannot say the record.
  std::string line;
  /// Why it cannot: "mark 7: no geometry, and the format needs one". Else empty.
  std::string refusal;
  /// What a person should know about the line: "mark 7: …".
  std::vector<std::string> remarks;
};

/// A bar: flat (BF2D), spatial (BF3D) or a helix (BFWE). The other way round of read_bar.
///
/// Reading the line gives a bar of the same values, but for what the format has no place for
/// (docs/bvbs.md). Numbers read as the same ones; a length or mass that no text of the format reads
/// as is off by its last binary digits.
WrittenLine write_bar(const model::cad::Rebar& bar, const Drawing& drawing);

/// A fabric sheet (BFMA).
WrittenLine write_fabric(const model::cad::Fabric& fabric, const Drawing& drawing);

/// A spacer or support (BFAU). It has no steel.
WrittenLine write_bar_spacer(const model::cad::BarSpacer& spacer, const Drawing& drawing);

}  // namespace korvane::schedule::bvbs
