#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "contracts/cad/fabric_type.h"
#include "contracts/cad/material.h"
#include "contracts/cad/project.h"
#include "contracts/cad/revision.h"
#include "contracts/cad/sheet.h"
#include "platform/project_rpc/project_service.h"
#include "schedule/change_mark.h"

namespace korvane::schedule {

struct RevisionEntry {
  model::cad::Revision record;
  /// The revision whose rows are the whole content of this one: itself, unless a change of it was
  /// broken off after its new content was complete (schedule/changes.h).
  std::int32_t content_id = 0;
};

struct SheetEntry {
  model::cad::Sheet record;
  std::vector<RevisionEntry> revisions;
};

/// What a project has besides schedule lines. Revisions that are part of a change are not among
/// the sheets', but among `marks`.
struct Structure {
  model::cad::ProjectData project;
  /// By id.
  std::map<std::int32_t, model::cad::Material> materials;
  std::map<std::int32_t, model::cad::FabricType> fabric_types;
  /// In the order of their ids, and so are the revisions of each. Revisions that belong to no sheet
  /// come last, in an entry with the id -1 and no name.
  std::vector<SheetEntry> sheets;
  std::vector<ChangeMark> marks;
};

/// Throws what the project throws.
Structure read_structure(model::cad::Project_Service& project);

/// Which revisions a command is about. What is not given is not asked for.
struct Selection {
  std::optional<std::string> sheet;
  std::optional<std::string> revision;
};

/// A revision with its sheet. Refers to the structure.
struct SelectedRevision {
  const SheetEntry* sheet;
  const RevisionEntry* revision;
};

/// The revisions of these names, in the order of the structure. Throws krv::rpc4::NotFound
///
/// - "no sheet \"<name>\" in this project"
/// - "no revision \"<name>\" of sheet \"<name>\"", or "… in this project" without a sheet
///
/// if nothing has the names that are given.
std::vector<SelectedRevision> select_revisions(const Structure& structure,
                                               const Selection& selection);

/// The one revision of these names. Throws as select_revisions does, and krv::rpc4::BadRequest
/// "<n> revisions are meant: name the sheet and the revision" for several.
SelectedRevision select_one(const Structure& structure, const Selection& selection);

/// Names a revision by its id, the one way that the reads by revision take.
model::cad::RevisionRef revision_ref(std::int32_t id);

/// `sheet "417", revision "a"`, for messages.
std::string name_of(const SelectedRevision& selected);

}  // namespace korvane::schedule
