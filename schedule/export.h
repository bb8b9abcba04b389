#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/encoding/json.h"
#include "platform/project_rpc/project_service.h"
#include "schedule/structure.h"

/// A project, or a selection of its revisions, as text or a file for others. Some thousand lines are
/// held at a time.
namespace korvane::schedule {

/// Takes text piece by piece. An exception that it throws ends the export.
using TextSink = encoding::JsonSink;

/// What is not in what was written.
struct ExportReport {
  /// Lines that the format cannot say, each with its place and the reason: `sheet "417",
  /// revision "a": mark 7: no geometry, and the format needs one`. At most a thousand, then "and 5
  /// more".
  std::vector<std::string> refusals;
  /// What a person should know about the rest.
  std::vector<std::string> notes;
  /// Lines that were written.
  std::size_t lines = 0;
};

/// Writes the schedules as lines of the bar schedule exchange format, revision after revision.
/// All functions here throw what select_revisions does before anything is written, and what the
/// project and the sink throw.
ExportReport export_bvbs(model::cad::Project_Service& project, const Selection& selection,
                         const TextSink& sink);

/// The kinds of lines that a table has: bars, fabrics, bar_spacers and mounting_parts.
std::vector<std::string> table_kinds();

/// Writes the lines of one of these kinds as CSV (schedule/table_text.h), with the columns of
/// content_tables. Notes the kinds that there are besides it.
ExportReport export_csv(model::cad::Project_Service& project, const Selection& selection,
                        const std::string& kind, const TextSink& sink);

/// Writes an XLSX file (schedule/xlsx.h) with a worksheet for each kind of lines that there are,
/// with totals, and worksheets of the totals. Throws std::runtime_error "cannot write …" as well.
ExportReport export_xlsx(model::cad::Project_Service& project, const Selection& selection,
                         const std::string& filename);

}  // namespace korvane::schedule
