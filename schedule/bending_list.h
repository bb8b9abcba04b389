#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/project_rpc/project_service.h"
#include "schedule/content.h"
#include "schedule/drawing/shape.h"
#include "schedule/structure.h"
#include "schedule/totals.h"

/// What goes to the bending yard, before anything is decided of how it looks. Lengths and diameters
/// are in millimetres unless a name says metres, weights in kilograms. There is no value where the
/// record has 0 or none.
namespace korvane::schedule {

/// What the lines of all kinds have.
struct BendingLine {
  /// With prefix, suffix and submark.
  std::string mark;
  std::string steel;
  std::optional<std::int64_t> pieces;
  /// "4 × 5" where the pieces are those of several members.
  std::string members;
  /// Of all pieces.
  std::optional<double> mass;
  /// In place of the weight that is not known: an estimate by the diameter.
  std::optional<double> estimated_mass;
  /// The rest, each a sentence of its own: "End: coupler Lenton A12".
  std::vector<std::string> remarks;
};

struct BendingBar : BendingLine {
  std::optional<double> diameter;
  /// Of one piece.
  std::optional<double> length;
  /// Of all pieces.
  std::optional<double> total_metres;
  std::optional<double> mandrel;
  /// That of the hooks, where it is another.
  std::optional<double> hook_mandrel;
  drawing::Shape shape;
};

struct BendingFabric : BendingLine {
  std::string type;
  std::optional<double> length;
  std::optional<double> width;
  std::optional<double> mandrel;
  /// None where neither a shape nor a code is known.
  std::optional<drawing::Shape> shape;
};

struct BendingSpacer : BendingLine {
  std::string name;
  std::optional<double> length;
  std::optional<double> total_metres;
};

struct BendingPart : BendingLine {
  std::string name;
  /// "maker, model, order number".
  std::string order;
};

/// The lines of a revision, each kind by its marks: 2 before 10.
struct BendingSheet {
  std::string sheet;
  std::string revision;
  /// What the records of sheet and revision say besides their names: "Ground floor; date:
  /// 2026-01-31".
  std::string comment;
  std::vector<BendingBar> bars;
  std::vector<BendingFabric> fabrics;
  std::vector<BendingSpacer> bar_spacers;
  std::vector<BendingPart> mounting_parts;
  Totals totals;
};

struct BendingList {
  std::string project;
  std::vector<BendingSheet> sheets;
  /// What a reader has to know about all of them together.
  std::vector<std::string> notes;
};

/// The lines of a content.
BendingSheet bending_sheet(const Structure& structure, const SelectedRevision& selected,
                           const Content& content);

/// The lists of the revisions that are selected. Throws what select_revisions and reading throw.
BendingList read_bending_list(model::cad::Project_Service& project, const Selection& selection);

/// Whether a mark comes before another: numbers by their value, 2 before 10.
bool is_mark_before(const std::string& mark, const std::string& other);

}  // namespace korvane::schedule
