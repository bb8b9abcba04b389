#pragma once

#include <string>
#include <utility>
#include <vector>

#include "schedule/table.h"
#include "schedule/totals.h"

namespace korvane::schedule {

/// Kilograms of lines, none if no weight of any is known.
inline Cell mass_cell(const Sum& sum) {
  return sum.mass == 0 && sum.lines != 0 ? Cell() : Cell(sum.mass);
}

/// Calls `visit(table, groups, cells)` for each kind by which totals are grouped: with a table named
/// "bar" and so on and `suffix`, whose columns name a group; with the member of Totals; and with
/// what makes the cells of those columns from a key.
template <class Visit>
void for_each_grouping(const std::string& suffix, Visit visit) {
  const auto table = [&](const char* kind, const char* title, std::vector<Column> columns) {
    return Table{kind + suffix, title, std::move(columns), {}, {}, {}};
  };
  const auto text = [](const std::string& name) { return name.empty() ? Cell() : Cell(name); };
  const auto by_name = [&](const std::string& name) { return std::vector<Cell>{text(name)}; };
  const Column steel{"steel", "steel", Column::Kind::text, ""};
  const Column name{"name", "name", Column::Kind::text, ""};
  visit(table("bar", "Bars by diameter",
              {{"bar_diameter", "diameter", Column::Kind::number, "mm", 3}, steel}),
        &Totals::bars, [&](const BarGroup& group) {
          return std::vector<Cell>{group.diameter, text(group.steel)};
        });
  visit(table("fabric", "Fabrics by type", {{"type_name", "type", Column::Kind::text, ""}, steel}),
        &Totals::fabrics, [&](const FabricGroup& group) {
          return std::vector<Cell>{text(group.type), text(group.steel)};
        });
  visit(table("bar_spacer", "Bar spacers by name", {name}), &Totals::bar_spacers, by_name);
  visit(table("mounting_part", "Mounting parts by type", {name}), &Totals::mounting_parts, by_name);
}

}  // namespace korvane::schedule
