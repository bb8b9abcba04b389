#include "schedule/structure.h"

#include <set>
#include <utility>

#include "platform/rpc4/failure.h"
#include "schedule/query.h"

namespace korvane::schedule {

using namespace model::cad;

namespace {

std::string quoted(const std::string& name) { return "\"" + name + "\""; }

/// The sheet of each revision. The record may say otherwise after an update: the column stays.
std::map<std::int32_t, std::int32_t> sheets_of_revisions(Project_Service& project) {
  std::map<std::int32_t, std::int32_t> sheets;
  for (const auto& [id, sheet_id] :
       query<2>(project, "select id, sheet_id from revision where sheet_id is not null")) {
    sheets[static_cast<std::int32_t>(integer_in(id))] =
        static_cast<std::int32_t>(integer_in(sheet_id));
  }
  return sheets;
}

void read_catalogues(Project_Service& project, Structure& structure) {
  Batch<Material> materials;
  project.list_materials({}, materials);
  for (Material& material : materials.items) {
    structure.materials.emplace(material.id, std::move(material));
  }
  Batch<FabricType> types;
  project.list_fabric_type({}, types);
  for (FabricType& type : types.items) structure.fabric_types.emplace(type.id, std::move(type));
}

}  // namespace

Structure read_structure(Project_Service& project) {
  Structure structure;
  project.get_project({}, structure.project);
  read_catalogues(project, structure);

  std::map<std::int32_t, Sheet> sheets;
  std::set<std::string> hidden;
  Batch<Sheet> all_sheets;
  project.list_sheets({}, all_sheets);
  for (Sheet& sheet : all_sheets.items) {
    if (std::optional<ChangeMark> mark = mark_of(sheet)) {
      hidden.insert(mark->made_uids.begin(), mark->made_uids.end());
      structure.marks.push_back(*std::move(mark));
    } else {
      sheets.emplace(sheet.id, std::move(sheet));
    }
  }

  std::map<std::int32_t, Revision> revisions;
  std::map<std::int32_t, std::int32_t> content_ids;
  Batch<Revision> all_revisions;
  project.list_revisions({}, all_revisions);
  for (Revision& revision : all_revisions.items) {
    if (std::optional<ChangeMark> mark = mark_of(revision)) {
      if (mark->step == ChangeStep::whole) content_ids[mark->changed_revision] = revision.id;
      structure.marks.push_back(*std::move(mark));
    } else {
      revisions.emplace(revision.id, std::move(revision));
    }
  }
  for (const ChangeMark& mark : structure.marks) {
    if (mark.step == ChangeStep::removing) revisions.erase(mark.changed_revision);
  }

  const std::map<std::int32_t, std::int32_t> sheet_ids = sheets_of_revisions(project);
  std::map<std::int32_t, std::vector<RevisionEntry>> by_sheet;
  for (auto& [id, revision] : revisions) {
    if (hidden.count(revision.uid) != 0) continue;
    const auto content = content_ids.find(id);
    const auto sheet = sheet_ids.find(id);
    by_sheet[sheet == sheet_ids.end() ? -1 : sheet->second].push_back(
        {std::move(revision), content == content_ids.end() ? id : content->second});
  }
  for (auto& [id, sheet] : sheets) {
    std::vector<RevisionEntry> entries = std::move(by_sheet[id]);
    by_sheet.erase(id);
    if (hidden.count(sheet.uid) != 0 && entries.empty()) continue;
    structure.sheets.push_back({std::move(sheet), std::move(entries)});
  }
  SheetEntry without_sheet;
  for (auto& [id, entries] : by_sheet) {
    for (RevisionEntry& entry : entries) without_sheet.revisions.push_back(std::move(entry));
  }
  if (!without_sheet.revisions.empty()) structure.sheets.push_back(std::move(without_sheet));
  return structure;
}

std::vector<SelectedRevision> select_revisions(const Structure& structure,
                                               const Selection& selection) {
  std::vector<SelectedRevision> selected;
  bool is_sheet_known = false;
  for (const SheetEntry& sheet : structure.sheets) {
    if (selection.sheet && sheet.record.name != *selection.sheet) continue;
    is_sheet_known = true;
    for (const RevisionEntry& revision : sheet.revisions) {
      if (selection.revision && revision.record.name != *selection.revision) continue;
      selected.push_back({&sheet, &revision});
    }
  }
  if (selection.sheet && !is_sheet_known) {
    throw krv::rpc4::NotFound("no sheet " + quoted(*selection.sheet) + " in this project");
  }
  if (selection.revision && selected.empty()) {
    throw krv::rpc4::NotFound(
        "no revision " + quoted(*selection.revision) +
        (selection.sheet ? " of sheet " + quoted(*selection.sheet) : " in this project"));
  }
  return selected;
}

SelectedRevision select_one(const Structure& structure, const Selection& selection) {
  const std::vector<SelectedRevision> selected = select_revisions(structure, selection);
  if (selected.size() == 1) return selected.front();
  if (selected.empty()) throw krv::rpc4::NotFound("no revision in this project");
  throw krv::rpc4::BadRequest(std::to_string(selected.size()) +
                              " revisions are meant: name the sheet and the revision");
}

RevisionRef revision_ref(std::int32_t id) {
  RevisionRef ref;
  ref.id = id;
  return ref;
}

std::string name_of(const SelectedRevision& selected) {
  return "sheet " + quoted(selected.sheet->record.name) + ", revision " +
         quoted(selected.revision->record.name);
}

}  // namespace korvane::schedule
