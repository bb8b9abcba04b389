#pragma once

#include <string>

#include "contracts/cad/rebar.h"
#include "tools/korvane/bvbs.h"

namespace korvane::bvbs {

/// A flat bent bar (BF2D) as it goes into a schedule, with what its header says of its
/// surroundings. `rebar` names no revision and no material yet.
struct FlatBar {
  model::cad::Rebar rebar;
  /// The header's project, drawing and drawing index.
  std::string project;
  std::string sheet;
  std::string revision;
  /// The steel grade, by which the material is found.
  std::string steel;
  /// The stated weight was nearer to that of all pieces than to that of one, and was taken as such.
  bool weight_was_total = false;
};

/// Reads a BF2D record. Lengths and diameters are millimetres, angles degrees, the mass per length
/// kilograms per metre, all as the record states them. `total_length` is the cut length times the
/// number of pieces. In a staggered set the part of the mark behind its dot becomes the `submark`.
/// Legs become `kLine` pieces with the bend after them as `angle`, curved legs `kArc`, a bend after
/// a curved leg `kKink`. The format has no shape code and no dimension letters: they stay unset.
/// The source line is kept in `properties["bvbs"]`.
///
/// Throws RecordError that names the field, its value and what was expected.
FlatBar flat_bar(const Record& record);

}  // namespace korvane::bvbs
