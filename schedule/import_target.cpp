#include "schedule/import_target.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <string_view>

#include "schedule/query.h"

namespace korvane::schedule {

using model::cad::Project_Service;

namespace {

std::int32_t content_of(const Structure& structure, std::int32_t revision_id) {
  for (const SheetEntry& sheet : structure.sheets) {
    for (const RevisionEntry& revision : sheet.revisions) {
      if (revision.record.id == revision_id) return revision.content_id;
    }
  }
  return revision_id;
}

}  // namespace

std::vector<ImportTarget> targets_of(const ImportPlan& plan, const Structure& structure) {
  struct Known {
    std::int32_t sheet_id = -1;
    /// By name; of two the first.
    std::map<std::string_view, const RevisionEntry*> revisions;
  };
  std::map<std::string_view, Known> sheets;
  for (const SheetEntry& sheet : structure.sheets) {
    if (sheet.record.id < 0 || sheets.count(sheet.record.name) != 0) continue;
    Known& known = sheets[sheet.record.name];
    known.sheet_id = sheet.record.id;
    for (const RevisionEntry& revision : sheet.revisions) {
      known.revisions.emplace(revision.record.name, &revision);
    }
  }
  std::vector<ImportTarget> targets;
  for (const PlannedRevision& planned : plan.revisions()) {
    ImportTarget& target = targets.emplace_back();
    target.planned = &planned;
    target.result.sheet = planned.sheet;
    target.result.revision = planned.revision;
    target.result.bars = planned.bars.size();
    target.result.fabrics = planned.fabrics.size();
    target.result.bar_spacers = planned.bar_spacers.size();
    const auto sheet = sheets.find(planned.sheet);
    if (sheet == sheets.end()) continue;
    target.sheet_id = sheet->second.sheet_id;
    const auto revision = sheet->second.revisions.find(planned.revision);
    if (revision == sheet->second.revisions.end()) continue;
    target.existing = *revision->second;
    target.result.id = revision->second->record.id;
  }
  return targets;
}

bool has_existing(const std::vector<ImportTarget>& targets) {
  return std::any_of(targets.begin(), targets.end(),
                     [](const ImportTarget& target) { return target.existing.has_value(); });
}

void count_lines_before(const ContentReader& reader, std::vector<ImportTarget>& targets) {
  for (ImportTarget& target : targets) {
    if (!target.existing) continue;
    const std::int32_t id = target.existing->content_id;
    target.result.lines_before = reader.size(id) - reader.size<model::cad::MountingPart>(id);
  }
}

std::vector<ImportedRevision> preview_import(Project_Service* project, const ImportPlan& plan) {
  const Structure structure = project == nullptr ? Structure() : read_structure(*project);
  std::vector<ImportTarget> targets = targets_of(plan, structure);
  std::vector<std::vector<StoredRevision>> documents;
  bool fills_any = has_existing(targets);
  for (const PlannedDocument& planned : plan.documents()) {
    for (const StoredRevision& revision :
         documents.emplace_back(planned.document.revisions_in(structure))) {
      fills_any = fills_any || revision.id != 0;
    }
  }
  std::optional<ContentReader> reader;
  if (fills_any) {
    reader.emplace(*project);
    count_lines_before(*reader, targets);
  }
  std::vector<ImportedRevision> revisions;
  for (ImportTarget& target : targets) revisions.push_back(std::move(target.result));
  for (std::vector<StoredRevision>& document : documents) {
    for (StoredRevision& revision : document) {
      ImportedRevision& result = revisions.emplace_back();
      static_cast<StoredRevision&>(result) = std::move(revision);
      if (result.id != 0) result.lines_before = reader->size(content_of(structure, result.id));
    }
  }
  return revisions;
}

}  // namespace korvane::schedule
