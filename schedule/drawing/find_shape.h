#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/project_rpc/project_service.h"
#include "schedule/drawing/shape.h"
#include "schedule/structure.h"

namespace korvane::schedule::drawing {

/// Names one line of a project: by the id of its row, or by its mark in a revision.
struct LineName {
  /// Else a bar.
  bool is_fabric = false;
  std::optional<std::int32_t> id = {};
  /// Without an id: which revision, which must be one alone.
  Selection selection = {};
  /// As it is stored, or with prefix, suffix and submark.
  std::string mark = {};
  /// Which of several lines of this mark, in the order in which they were added: 1 for the first.
  std::int32_t position = 1;
};

struct FoundShape {
  Shape shape;
  /// For who cannot see it: "Mark 7: 400 (90°) 600".
  std::string description;
};

/// The shape of that line; unknown for a fabric that is flat. Reads no other line. Throws
/// krv::rpc4::NotFound if there is none ("no bar with the id 7 in this project", "no bar of mark
/// \"7\" in sheet \"417\", revision \"a\""), what select_one throws, and what reading throws.
FoundShape find_shape(model::cad::Project_Service& project, const LineName& name);

/// The shape of a line, and a description of it.
FoundShape found_shape(const model::cad::Rebar& bar);
FoundShape found_shape(const model::cad::Fabric& fabric);

}  // namespace korvane::schedule::drawing
