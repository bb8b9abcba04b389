#pragma once

#include <string>

#include "bond/nullable.h"
#include "contracts/cad/diff_state.h"
#include "contracts/cad/end_treatment.h"
#include "contracts/cad/fabric_type.h"
#include "contracts/cad/hook.h"
#include "contracts/cad/rebar.h"
#include "contracts/cad/rebar_geometry.h"
#include "contracts/cad/textblock.h"
#include "contracts/common/variant.h"

/// What schedule lines say, as short texts for people. Lengths are in millimetres, angles in
/// degrees, as the importer stores them. A text is empty where nothing is said.
namespace korvane::schedule {

/// The legs in order with the bend after each: "400 (90°) 600", a curved leg as "R400 (45°)", a leg
/// whose drawing shows another length as "400 [410]". A spatial bar has the distances between its
/// vertices: "3D 294 288 294".
std::string legs_text(const model::cad::RebarGeometry& geometry);

/// The texts that the drawing writes at the legs: "L1; 45°".
std::string labels_text(const model::cad::RebarGeometry& geometry);

/// The vertices of a spatial bar: "0 0 0; 294 0 0".
std::string vertices_text(const model::cad::RebarGeometry& geometry);

/// "standard hook 135° 120 mm left, 180 mm in all".
std::string hook_text(const model::cad::Hook& hook);
std::string direction_text(model::cad::HookDirection direction);

/// "coupler Lenton A12 ø16, a comment".
std::string treatment_text(const model::cad::EndTreatment& treatment);

/// "along distance 150, along inner bar diameter 6": the values that are not 0.
std::string list_fabric_text(const model::cad::ListenMatten& layout);

/// "modified", "removed", "added", or the number of any other state.
std::string diff_state_text(model::cad::DiffState state);

/// Rows on after another, cells between bars: "a | b / c | d".
std::string textblock_text(const model::cad::Textblock& textblock);

/// "layer: 1; pitch: 6 x 100", without the source line that the importer keeps under "bvbs".
std::string properties_text(const Properties& properties);

/// The mark as it stands on the drawing, with prefix and suffix, and after a point the submark.
template <class T>
std::string label_of(const T& line) {
  std::string label;
  if constexpr (requires { line.mark_prefix; }) {
    if (line.mark_prefix.hasvalue()) label += *line.mark_prefix;
  }
  label += line.mark;
  if constexpr (requires { line.mark_suffix; }) {
    if (line.mark_suffix.hasvalue()) label += *line.mark_suffix;
  }
  if constexpr (requires { line.submark; }) {
    if (line.submark.hasvalue()) label += "." + *line.submark;
  }
  return label;
}

}  // namespace korvane::schedule
