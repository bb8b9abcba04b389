#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/project_rpc/project_service.h"
#include "schedule/content.h"
#include "schedule/field_differences.h"
#include "schedule/structure.h"
#include "schedule/table.h"
#include "schedule/totals.h"

/// What has changed between two contents: those of two revisions, of one project or of two.
namespace korvane::schedule {

enum class Change { added, removed, changed };

/// A schedule line that is not the same on both sides.
struct LineDifference {
  Change change = Change::changed;
  /// The table of its kind: "bars".
  std::string kind;
  /// As it stands on the drawing; that before, if it has changed.
  std::string mark;
  /// Of a changed line. Of the others there is one without a name, whose value says in short what
  /// came or went.
  std::vector<FieldDifference> fields;
  /// Its places among the lines of its kind before and after.
  std::optional<std::size_t> place_before = {};
  std::optional<std::size_t> place_after = {};
  /// The ids of its rows there, where they were looked up.
  std::optional<std::int64_t> before_id = {};
  std::optional<std::int64_t> after_id = {};
};

struct Comparison {
  /// Kind by kind, changed and removed lines in the order before, then the added ones.
  std::vector<LineDifference> lines;
  Totals before;
  Totals after;
};

/// What a search for the lines that are most alike may cost with one kind of line: a few seconds,
/// since no time limit of a server's ends it. Each pair that is tried counts once, and once more for
/// each field that it differs in.
inline constexpr std::size_t kMostEffort = 4000000;

/// Compares two contents line by line.
///
/// Lines are matched by mark. Of several lines with one mark equal ones are matched first, then
/// the ones that are most alike; a line that is the same under another mark is a changed one. All
/// fields are compared, but for the ids of rows. What a line refers to by id, its material and its
/// fabric type, is compared by its values: "material.identity.name". Of the source record that an
/// import keeps under "bvbs", only those parts count that no field holds, and only if both lines
/// have one. Where a mark has more than ten thousand pairs of lines, or all together have cost
/// `most_effort`, the lines of a mark are matched in their order.
Comparison compare_contents(const Structure& structure_before, const Content& before,
                            const Structure& structure_after, const Content& after,
                            std::size_t most_effort = kMostEffort);

/// Two revisions to compare, or one that the other side lacks. Refers to the structures.
struct RevisionPair {
  std::optional<SelectedRevision> before;
  std::optional<SelectedRevision> after;
};

/// The revisions of two projects, matched by the names of sheet and revision; several of the same
/// names in order. Throws as select_revisions does for names that neither project has.
std::vector<RevisionPair> match_revisions(const Structure& before, const Structure& after,
                                          const Selection& selection);

/// The two revisions of these names of one sheet: the only sheet that has both, or that of the name.
/// Throws krv::rpc4::NotFound "no sheet has revisions \"<a>\" and \"<b>\"" or "sheet \"<name>\"
/// does not have revisions …", and krv::rpc4::BadRequest "<n> sheets have revisions \"<a>\" and
/// \"<b>\": name one" and "sheet \"<name>\" has several revisions \"<a>\"".
RevisionPair find_revisions(const Structure& structure, const std::optional<std::string>& sheet,
                            const std::string& before, const std::string& after);

/// Compares one pair after another and calls `visit` with each, with the ids of rows. A revision that
/// is missing has no content. One pass over each file. Throws what the projects throw.
void compare_revisions(
    model::cad::Project_Service& project_before, const Structure& structure_before,
    model::cad::Project_Service& project_after, const Structure& structure_after,
    const std::vector<RevisionPair>& pairs,
    const std::function<void(const RevisionPair& pair, const Comparison& comparison)>& visit);

/// Whether the table "changes" has the ids of rows, as the columns "before_id" and "after_id".
enum class ChangeIds { left_out, shown };

/// The table "changes": a row for each field of each line that differs, and one for a revision that
/// only one side has.
Table changes_table(const RevisionPair& pair, const Comparison& comparison,
                    ChangeIds ids = ChangeIds::left_out);

/// The tables "bar_differences", "fabric_differences", "bar_spacer_differences" and
/// "mounting_part_differences": pieces and kilograms before and after, of the diameters and types
/// in which they differ.
std::vector<Table> difference_tables(const Totals& before, const Totals& after);

}  // namespace korvane::schedule
