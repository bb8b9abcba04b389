#pragma once

#include <cstdint>
#include <map>

#include "platform/project_rpc/project_service.h"
#include "schedule/structure.h"

/// Which schedule lines refer to the entries of the catalogues.
namespace korvane::schedule {

/// By the id of an entry, and then of a revision that is shown: how many of its lines refer to the
/// entry. None without such a line.
using CatalogueUses = std::map<std::int32_t, std::map<std::int32_t, std::int64_t>>;

/// Of materials: by bars and mounting parts. The steel of a fabric is its type's. Throws what
/// `query_table` throws.
CatalogueUses material_uses(model::cad::Project_Service& project, const Structure& structure);

/// Of fabric types: by fabrics.
CatalogueUses fabric_type_uses(model::cad::Project_Service& project, const Structure& structure);

}  // namespace korvane::schedule
