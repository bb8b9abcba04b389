#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/project_rpc/project_service.h"
#include "schedule/import_plan.h"
#include "schedule/project_document.h"

namespace korvane::schedule {

/// A revision that an import has filled, with the numbers of imported lines.
struct ImportedRevision : StoredRevision {
  /// That it had, of the kinds that a schedule has: they are replaced, or come first. Of all kinds
  /// for a document.
  std::size_t lines_before = 0;
};

struct ImportResult {
  /// In the order of the plan, those of documents last.
  std::vector<ImportedRevision> revisions;
  /// What is not as a document says (StoredDocument), with its source: "a.json: …".
  std::vector<std::string> notes;
};

/// Stores what a plan has, without what is faulty. Finds each sheet, revision, material and fabric
/// type by its name or makes it; a fabric type that is there stays as it is. The name of the plan's
/// project is kept in the project record under "project", unless there is one already.
///
/// What becomes of lines that a revision has already, `if_filled` says. Its mounting parts stay in
/// any case, as schedules have none. A document is stored as ProjectDocument::store says.
///
/// The new revisions of all schedules are shown at once, after their last operation. Revisions that
/// are there already are changed before that, one by one, each whole or not at all. Documents come
/// then, one after the other. A failure takes back all that is new of the schedules, or of the
/// document that it came in, as far as the project lets it; what was done before stays.
///
/// Throws krv::rpc4::BadRequest
///
/// - "revision \"a\" of sheet \"417\" has 19 schedule lines already: replace them, append to them,
///   or name another revision", where needed with " (and 3 other revisions have lines)", for
///   `IfFilled::refuse` and before anything is stored; for a document "a.json: sheet \"417\",
///   revision \"a\" has 19 lines already"
/// - what replace_content throws (schedule/changes.h)
///
/// and what the project throws.
ImportResult import_plan(model::cad::Project_Service& project, const ImportPlan& plan,
                         IfFilled if_filled, const Progress& progress = {});

/// What import_plan would store, in the same order: a revision that it would make has the id 0.
/// Nothing is stored. Without a project as if it was empty. Throws what the project throws.
std::vector<ImportedRevision> preview_import(model::cad::Project_Service* project,
                                             const ImportPlan& plan);

}  // namespace korvane::schedule
