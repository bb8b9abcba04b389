#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/project_rpc/project_service.h"
#include "schedule/document_index.h"
#include "schedule/project_document.h"
#include "schedule/structure.h"

namespace korvane::schedule {

/// Throws what ProjectDocument::store throws for revisions that have lines.
void require_room_for_document(model::cad::Project_Service& project, std::string_view text,
                               const DocumentIndex& index, IfFilled if_filled);

/// The ids of the revisions that those of a document stand for, in its order; 0 for one that the
/// project lacks.
std::vector<std::int32_t> revision_ids(const DocumentIndex& index, const Structure& structure);

/// Stores what is not faulty of a document, as ProjectDocument::store says. `index` is that of
/// `text`.
StoredDocument store_document(model::cad::Project_Service& project, std::string_view text,
                              const DocumentIndex& index, IfFilled if_filled);

}  // namespace korvane::schedule
