#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include "schedule/bvbs/lines.h"
#include "schedule/content.h"
#include "schedule/structure.h"

namespace korvane::schedule::bvbs {

/// The property of a sheet whose drawing had no number in the file, with the name that it got
/// instead. As long as it is still called so, its lines go out without a number again.
inline constexpr const char* kNameInsteadProperty = "bvbs.name_instead";

/// The names of a revision's header, without the steel.
Drawing drawing_of(const Structure& structure, const SelectedRevision& selected);

/// The name of the material of a bar or fabric, by the catalogue; empty for none.
std::string steel_of(const Structure& structure, const model::cad::Rebar& bar);
std::string steel_of(const Structure& structure, const model::cad::Fabric& fabric);

struct WrittenSchedule {
  std::size_t lines = 0;
  /// Why lines are missing, each with its mark: what the format cannot say.
  std::vector<std::string> refusals;
  std::vector<std::string> remarks;
};

/// Writes the schedule of a revision: bars, fabrics, then bar spacers, each in their order. Lines end
/// in CR LF. What the format cannot say is left out and named, as mounting parts are. Does not flush
/// `output` nor look at its state.
WrittenSchedule write_schedule(std::ostream& output, const Structure& structure,
                               const SelectedRevision& selected, const Content& content);

}  // namespace korvane::schedule::bvbs
