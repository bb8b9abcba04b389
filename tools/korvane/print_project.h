#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "platform/project_rpc/project_service.h"
#include "schedule/structure.h"
#include "tools/korvane/output_options.h"

namespace korvane::tools {

/// What of each revision is printed.
struct Printed {
  /// The lines of this mark alone, as it stands on the drawing or without prefix, suffix and
  /// submark.
  std::optional<std::string> mark;
  /// One of the tables of `content_tables` alone.
  std::optional<std::string> kind;
};

/// Prints the schedules of the revisions with all that is stored of them; to people with totals by
/// diameter, and with those of all together after several revisions. One pass over the file,
/// however many revisions. Holds the lines of one revision for people, whose columns are as wide as
/// the widest of them, and for programs a thousand lines. `selected` refers to `structure`. Throws krv::rpc4::NotFound "no mark
/// \"<mark>\" …" if no line has the mark.
void print_revisions(model::cad::Project_Service& project, const schedule::Structure& structure,
                     const std::vector<schedule::SelectedRevision>& selected,
                     const Printed& printed, TablePrinter& printer);

/// The same for people, of the revisions with these ids; those that are not there are left out.
void print_revisions(model::cad::Project_Service& project, const std::vector<std::int32_t>& rev_ids,
                     std::ostream& output);

/// The same of one.
void print_revision(model::cad::Project_Service& project, std::int32_t rev_id,
                    std::ostream& output);

}  // namespace korvane::tools
