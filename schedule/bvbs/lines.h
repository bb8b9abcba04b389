#pragma once

#include <optional>
#include <string>
#include <variant>

#include "contracts/cad/bar_spacer.h"
#include "contracts/cad/fabric.h"
#include "contracts/cad/fabric_type.h"
#include "contracts/cad/rebar.h"
#include "schedule/bvbs/record.h"

/// Records as lines of a schedule. Lengths and diameters are in millimetres, angles in degrees,
/// weights in kilograms, all as the record states them. The source line of a record is kept in
/// `properties["bvbs"]`. So is what no field has a place for, under "layer", "stagger_step",
/// "stagger_group", "pitch", "bent_bars" and "height". A line has no id of a revision, a material
/// or a fabric type yet.
///
/// Reading throws RecordError, which names the block, the field, its value and what was expected.
/// All numbers that it returns are finite.
namespace korvane::schedule::bvbs {

/// Where a line belongs, as its header says.
struct Drawing {
  std::string project;
  std::string sheet;
  std::string revision;
  /// The steel grade, by which the material is found.
  std::string steel;
  /// The record has no number of a drawing, so that the sheet is named after the file.
  bool is_named_after_file = false;
};

/// A line of a schedule with the drawing that it belongs to.
template <class T>
struct Line {
  T item;
  Drawing drawing;
};

struct BarLine : Line<model::cad::Rebar> {
  /// The stated weight was nearer to that of all pieces than to that of one, and was taken as such.
  bool weight_was_total = false;
  /// Of one piece.
  double cut_length = 0.0;
  /// What the legs of a flat bar add up to, a curved one as its arc. They are measured outside, so
  /// that the cut length is less by what the bends spare, where an office deducts that.
  std::optional<double> sum_of_legs;
};

/// A fabric. Its `fabric_type` is complete but for ids and material.
using FabricLine = Line<model::cad::Fabric>;
using BarSpacerLine = Line<model::cad::BarSpacer>;

/// A bar: flat (BF2D), spatial (BF3D) or a helix (BFWE).
///
/// `total_length` is the cut length times the number of pieces; the mass per length is in kilograms
/// per metre. In a staggered set the part of the mark after its dot becomes the `submark`. Straight
/// legs become `kLine` pieces with the bend after them as `angle`, curved legs `kArc`, a bend after
/// a curved leg `kKink`; a spatial bar becomes a `polyline` from the origin; a helix keeps its
/// turns as "6 x 100, 12 x 200" under "pitch". The format has neither shape codes nor dimension
/// letters: both stay unset.
BarLine read_bar(const Record& record);

/// A fabric sheet (BFMA). Which of its bars are bent, "x" or "y", is kept under "bent_bars".
FabricLine read_fabric(const Record& record);

/// A spacer or support (BFAU).
BarSpacerLine read_bar_spacer(const Record& record);

/// None for a record of another group, for which a project has no place.
using AnyLine = std::variant<std::monostate, BarLine, FabricLine, BarSpacerLine>;

/// Reads a record as the line that its group says.
AnyLine read_line(const Record& record);

}  // namespace korvane::schedule::bvbs
