#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "platform/project_rpc/project_service.h"
#include "schedule/content.h"
#include "schedule/structure.h"
#include "schedule/table.h"

/// What the lines of revisions come to: pieces, metres and kilograms.
namespace korvane::schedule {

/// Of some lines together.
struct Sum {
  std::int64_t lines = 0;
  std::int64_t pieces = 0;
  /// 0 for what has no length.
  double metres = 0;
  /// Kilograms of the lines whose weight is known.
  double mass = 0;
  std::int64_t lines_without_mass = 0;
  /// Kilograms of the bars whose weight is not known, as their diameters let expect.
  double estimated_mass = 0;

  Sum& operator+=(const Sum& other);
  bool operator==(const Sum&) const = default;
};

/// A diameter in millimetres and the name of a steel; a type of fabric and the name of its steel.
struct BarGroup {
  double diameter = 0;
  std::string steel;

  bool operator==(const BarGroup&) const = default;
  bool operator<(const BarGroup& other) const {
    return std::tie(diameter, steel) < std::tie(other.diameter, other.steel);
  }
};
struct FabricGroup {
  std::string type;
  std::string steel;

  bool operator==(const FabricGroup&) const = default;
  bool operator<(const FabricGroup& other) const {
    return std::tie(type, steel) < std::tie(other.type, other.steel);
  }
};

struct Totals {
  std::map<BarGroup, Sum> bars;
  std::map<FabricGroup, Sum> fabrics;
  /// By name.
  std::map<std::string, Sum> bar_spacers;
  /// By family and type. They have no weight, and none of their lines counts as lacking it.
  std::map<std::string, Sum> mounting_parts;

  Totals& operator+=(const Totals& other);
  bool operator==(const Totals&) const = default;
};

/// All groups of a kind together.
template <class Key>
Sum sum_of(const std::map<Key, Sum>& groups) {
  Sum sum;
  for (const auto& [key, each] : groups) sum += each;
  return sum;
}
/// All kinds together. Its metres are those of the bars.
Sum sum_of(const Totals& totals);

/// The totals of a content.
Totals totals_of(const Structure& structure, const Content& content);

/// The totals of every revision that is shown and has content, by its id: one pass over the columns
/// of the project's file, however many revisions. Throws what `query_table` throws.
std::map<std::int32_t, Totals> totals_by_revision(model::cad::Project_Service& project,
                                                  const Structure& structure);

/// A note where several revisions of a sheet are among those that are counted: "1 sheet has several
/// revisions, and all of them count.", else nothing.
std::string several_revisions_note(const std::vector<SelectedRevision>& selected);

/// The tables "bar_totals", "fabric_totals", "bar_spacer_totals" and "mounting_part_totals"; with
/// totals below, and notes that say how many lines lack a weight.
std::vector<Table> totals_tables(const Totals& totals);

/// The table "revisions": a row for each revision with the marks, pieces and kilograms that it has.
/// A mark is a line. Sheets without a revision have a row with no value as revision's name.
/// `selected` refers to `structure`; `totals` are by revision.
Table revisions_table(const Structure& structure, const std::vector<SelectedRevision>& selected,
                      const std::map<std::int32_t, Totals>& totals);

}  // namespace korvane::schedule
