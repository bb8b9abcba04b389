#pragma once

#include <string_view>

#include "platform/project_rpc/project_service.h"
#include "schedule/document_index.h"
#include "schedule/project_document.h"

namespace korvane::schedule {

/// Throws what ProjectDocument::store throws for revisions that have lines.
void require_room_for_document(model::cad::Project_Service& project, std::string_view text,
                               const DocumentIndex& index, IfFilled if_filled);

/// Stores what is not faulty of a document, as ProjectDocument::store says. `index` is that of
/// `text`.
StoredDocument store_document(model::cad::Project_Service& project, std::string_view text,
                              const DocumentIndex& index, IfFilled if_filled);

}  // namespace korvane::schedule
