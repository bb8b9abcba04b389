#include "schedule/import_plan.h"

#include <algorithm>
#include <filesystem>

namespace korvane::schedule {

using bvbs::AnyLine;
using bvbs::BarLine;
using bvbs::BarSpacerLine;
using bvbs::Drawing;
using bvbs::FabricLine;
using bvbs::SourceLine;

std::string text_of(const SourceFault& fault) {
  const std::string line = fault.line == 0 ? "" : "line " + std::to_string(fault.line) + ": ";
  return fault.source + ": " + line + fault.reason;
}

std::string text_of(const SourceNote& note) {
  const std::string line = "line " + std::to_string(note.first_line);
  if (note.count == 1) return note.first_source + ": " + note.text + " (" + line + ")";
  const std::string lines = std::to_string(note.count) + " lines";
  if (note.sources == 1) {
    return note.first_source + ": " + note.text + " (" + lines + ", first " + line + ")";
  }
  return note.text + " (" + lines + " in " + std::to_string(note.sources) + " sources, first " +
         line + " of " + note.first_source + ")";
}

ImportPlan::ImportPlan(std::vector<Source> sources, const ImportNames& names,
                       const Progress& progress)
    : sources_(std::move(sources)) {
  std::size_t total = 0;
  for (const Source& source : sources_) total += source.text.size();
  std::size_t before = 0;
  for (const Source& source : sources_) {
    if (looks_like_document(source.text)) {
      read_document(source, names);
    } else if (bvbs::looks_like_schedule(source.text)) {
      read_schedule(source, names, [&](const SourceLine& where) {
        const auto in_source = static_cast<std::size_t>(where.text.data() - source.text.data());
        if (progress) progress("reading", before + in_source, total);
      });
    } else if (source.text.find_first_not_of(" \t\r\n") != std::string::npos) {
      faults_.push_back({source.name, 0,
                         "is neither a bar schedule in the format of BVBS nor a project in JSON"});
    }
    before += source.text.size();
  }
  refuse_shared_revisions();
}

void ImportPlan::read_document(const Source& source, const ImportNames& names) {
  if (names.sheet || names.revision) {
    faults_.push_back({source.name, 0, "the names of a project in JSON cannot be replaced"});
    return;
  }
  ProjectDocument document(source.text);
  for (const std::string& fault : document.faults()) faults_.push_back({source.name, 0, fault});
  if (!document.faults().empty() && !document.is_rest_usable()) return;
  documents_.push_back({source.name, std::move(document)});
}

void ImportPlan::refuse_shared_revisions() {
  std::set<std::pair<std::string, std::string>> known;
  for (const auto& [names, place] : revisions_by_name_) known.insert(names);
  std::vector<PlannedDocument> kept;
  for (PlannedDocument& planned : documents_) {
    std::set<std::pair<std::string, std::string>> own;
    for (const StoredRevision& revision : planned.document.revisions()) {
      own.emplace(revision.sheet, revision.revision);
    }
    const auto shared = std::find_if(own.begin(), own.end(),
                                     [&](const auto& names) { return known.count(names) != 0; });
    if (shared != own.end()) {
      faults_.push_back({planned.source, 0,
                         "revision \"" + shared->second + "\" of sheet \"" + shared->first +
                             "\" is in another source too"});
      continue;
    }
    known.merge(own);
    size_ += planned.document.size();
    kept.push_back(std::move(planned));
  }
  documents_ = std::move(kept);
}

void ImportPlan::read_schedule(const Source& source, const ImportNames& names,
                               const std::function<void(const SourceLine&)>& go_on) {
  const std::string unnamed_sheet = std::filesystem::path(source.name).stem().string();
  const auto place = [&](Drawing& drawing) -> PlannedRevision& {
    if (project_.empty()) project_ = drawing.project;
    drawing.is_named_after_file = drawing.sheet.empty() && !names.sheet;
    if (drawing.sheet.empty()) drawing.sheet = unnamed_sheet;
    if (names.sheet) drawing.sheet = *names.sheet;
    if (names.revision) drawing.revision = *names.revision;
    ++size_;
    return revision_of(drawing);
  };
  const bvbs::Findings findings = bvbs::read_schedule(source.text, [&](AnyLine&& line,
                                                                       const SourceLine& where) {
    go_on(where);
    if (auto* const bar = std::get_if<BarLine>(&line)) {
      steels_.insert(bar->drawing.steel);
      place(bar->drawing).bars.push_back(where);
    } else if (auto* const fabric = std::get_if<FabricLine>(&line)) {
      fabric_types_.try_emplace(fabric->item.type_name,
                                PlannedFabricType{fabric->item.fabric_type, fabric->drawing.steel});
      place(fabric->drawing).fabrics.push_back(where);
    } else {
      place(std::get<BarSpacerLine>(line).drawing).bar_spacers.push_back(where);
    }
  });
  for (const bvbs::Fault& fault : findings.faults) {
    faults_.push_back({source.name, fault.line, fault.reason});
  }
  for (const bvbs::Note& found : findings.notes) note(source, found);
  for (const auto& [group, count] : findings.skipped) skipped_[group] += count;
}

PlannedRevision& ImportPlan::revision_of(const Drawing& drawing) {
  const auto [place, is_new] =
      revisions_by_name_.try_emplace(std::pair(drawing.sheet, drawing.revision), revisions_.size());
  if (is_new) revisions_.push_back({drawing.sheet, drawing.revision, true, {}, {}, {}});
  PlannedRevision& planned = revisions_[place->second];
  if (!drawing.is_named_after_file) planned.is_sheet_named_after_source = false;
  return planned;
}

void ImportPlan::note(const Source& source, const bvbs::Note& note) {
  const auto [place, is_new] = notes_by_text_.try_emplace(note.text, notes_.size());
  if (is_new) {
    notes_.push_back({note.text, note.count, 1, source.name, note.first_line});
  } else {
    notes_[place->second].count += note.count;
    ++notes_[place->second].sources;
  }
}

}  // namespace korvane::schedule
