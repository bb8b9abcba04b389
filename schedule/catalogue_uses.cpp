#include "schedule/catalogue_uses.h"

#include <string>

#include "schedule/line_kind.h"
#include "schedule/query.h"

namespace korvane::schedule {

using namespace model::cad;

namespace {

/// Adds those that the lines of a table have in `column`.
void add_uses(Project_Service& project, const Structure& structure, const std::string& table,
              const std::string& column, CatalogueUses& uses) {
  std::map<std::int32_t, std::int32_t> shown_by_content;
  for (const SheetEntry& sheet : structure.sheets) {
    for (const RevisionEntry& revision : sheet.revisions) {
      shown_by_content[revision.content_id] = revision.record.id;
    }
  }
  std::string sql = "select rev_id, ";
  sql += column + ", count(*) from ";
  sql += table + " where rev_id is not null and ";
  sql += column + " is not null group by rev_id, ";
  sql += column;
  for (const auto& [rev_id, id, count] : query<3>(project, sql)) {
    const auto shown = shown_by_content.find(static_cast<std::int32_t>(integer_in(rev_id)));
    if (shown == shown_by_content.end()) continue;
    uses[static_cast<std::int32_t>(integer_in(id))][shown->second] += integer_in(count);
  }
}

}  // namespace

CatalogueUses material_uses(Project_Service& project, const Structure& structure) {
  CatalogueUses uses;
  add_uses(project, structure, LineKind<Rebar>::kTable, "material_id", uses);
  add_uses(project, structure, LineKind<MountingPart>::kTable, "material_id", uses);
  return uses;
}

CatalogueUses fabric_type_uses(Project_Service& project, const Structure& structure) {
  CatalogueUses uses;
  add_uses(project, structure, LineKind<Fabric>::kTable, "fabric_type_id", uses);
  return uses;
}

}  // namespace korvane::schedule
