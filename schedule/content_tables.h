#pragma once

#include <string>
#include <vector>

#include "schedule/content.h"
#include "schedule/structure.h"
#include "schedule/table.h"

/// The lines of a revision as tables, a table a kind and a row a line.
namespace korvane::schedule {

/// The tables "bars", "fabrics", "bar_spacers" and "mounting_parts", always all four, with all that
/// is stored of each line: each field as it is, and as texts for people what they read as one, such
/// as a hook. Lengths and diameters are in mm, angles in degrees, weights in kg and kg/m. No weight
/// is no value, and never 0. The first columns name sheet and revision, so that the tables of many
/// revisions can stand one after another.
///
/// Columns are ordered by how much people need them. `content` is that of `selected`, which refers
/// to `structure`.
std::vector<Table> content_tables(const Structure& structure, const SelectedRevision& selected,
                                  const Content& content);

/// The name of a material of the project, by its id: "material 7" for one that is not there.
std::string steel_name(const Structure& structure, std::int32_t material_id);

/// The type of a fabric as the catalogue has it now, with its material; the copy in the record if
/// the catalogue lacks it.
model::cad::FabricType type_of(const Structure& structure, const model::cad::Fabric& fabric);

}  // namespace korvane::schedule
