#pragma once

#include <string>

#include "contracts/cad/bar_spacer.h"
#include "contracts/cad/fabric.h"
#include "contracts/cad/fabric_type.h"
#include "contracts/cad/rebar.h"
#include "schedule/bvbs/bvbs.h"

/// Records as lines of a schedule. Lengths and diameters are millimetres, angles degrees, weights
/// kilograms, all as the record states them. The record's own line is kept in `properties["bvbs"]`,
/// and what has no field elsewhere in `properties` too: "layer", "stagger_step", "stagger_group",
/// "pitch", "bent_bars", "height". No line names a revision, a material or a fabric type by id yet.
///
/// Reading throws RecordError that names the block, the field, its value and what was expected. All
/// numbers that it gives are finite.
namespace korvane::bvbs {

/// What a header says of a line's surroundings.
struct Drawing {
  std::string project;
  std::string sheet;
  std::string revision;
  /// The steel grade, by which the material is found.
  std::string steel;
};

/// A line of a schedule with the drawing it belongs to.
template <class T>
struct Line {
  T item;
  Drawing drawing;
};

struct BarLine : Line<model::cad::Rebar> {
  /// The stated weight was nearer to that of all pieces than to that of one, and was taken as such.
  bool weight_was_total = false;
};

/// A fabric; its `fabric_type` has all but ids and material.
using FabricLine = Line<model::cad::Fabric>;
using BarSpacerLine = Line<model::cad::BarSpacer>;

/// A bar: flat (BF2D), spatial (BF3D) or a helix (BFWE).
///
/// `total_length` is the cut length times the number of pieces, and the mass per length is
/// kilograms a metre. In a staggered set the part of the mark behind its dot becomes the `submark`.
/// Straight legs become `kLine` pieces with the bend after them as `angle`, curved legs `kArc`, a
/// bend after a curved leg `kKink`; a spatial bar becomes a `polyline` from the origin; a helix
/// keeps its turns as "6 x 100, 12 x 200" under "pitch". The format has no shape code and no
/// dimension letters: they stay unset.
BarLine read_bar(const Record& record);

/// A fabric sheet (BFMA). Which of its bars a bend takes, "x" or "y", is kept under "bent_bars".
FabricLine read_fabric(const Record& record);

/// A spacer or support (BFAU).
BarSpacerLine read_bar_spacer(const Record& record);

}  // namespace korvane::bvbs
