#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/project_rpc/project_service.h"
#include "schedule/structure.h"

namespace korvane::schedule {

/// A schedule line of a project, with the revision that shows it.
template <class T>
struct FoundLine {
  T item;
  /// Refers to the structure.
  SelectedRevision selected;
};

/// The line of that row, with its id where a record has one. `T` is Rebar, Fabric, BarSpacer or
/// MountingPart. Throws krv::rpc4::NotFound "no bar with the id 7 in this project", also for a row
/// that no revision shows, and what `query_table` and decoding throw.
template <class T>
FoundLine<T> find_line(model::cad::Project_Service& project, const Structure& structure,
                       std::int32_t id);

/// "no bar with the id 7 in this project".
template <class T>
std::string no_line_text(std::int32_t id);

/// The rows of these ids, as far as there are such, in the order of the ids: each once. Throws what
/// `query_table` and decoding throw.
template <class T>
std::vector<std::pair<std::int32_t, T>> read_lines(model::cad::Project_Service& project,
                                                   const std::vector<std::int32_t>& ids);

}  // namespace korvane::schedule
