#include "schedule/import.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include "platform/rpc4/failure.h"
#include "schedule/bvbs/write_schedule.h"
#include "schedule/changes.h"
#include "schedule/content.h"
#include "schedule/import_target.h"
#include "schedule/new_revisions.h"
#include "schedule/query.h"
#include "schedule/structure.h"
#include "schedule/undo.h"

namespace korvane::schedule {

using namespace model::cad;
using bvbs::BarLine;
using bvbs::BarSpacerLine;
using bvbs::FabricLine;
using bvbs::SourceLine;

namespace {

/// Records of one batch, whichever revisions they belong to. Each batch is one transaction.
constexpr std::size_t kItemsAtATime = 4000;

/// Finds catalogue entries by name, and makes those that are missing.
class EntriesByName {
 public:
  EntriesByName(Project_Service& project, const Structure& structure, Undo& undo)
      : project_(project), undo_(undo) {
    for (const auto& [id, material] : structure.materials) {
      materials_.emplace(material.identity.name, material);
    }
    for (const auto& [id, type] : structure.fabric_types) {
      fabric_types_.emplace(type.type_name, type);
    }
  }

  void add(const ImportPlan& plan) {
    for (const std::string& steel : plan.steels()) make_material(steel);
    for (const auto& [name, type] : plan.fabric_types()) {
      if (fabric_types_.count(name) != 0) continue;
      FabricType record = type.record;
      record.material = make_material(type.steel);
      make(record, &Project_Service::create_fabric_type, &Project_Service::delete_fabric_type);
      fabric_types_.emplace(name, std::move(record));
    }
  }

  const Material& material(const std::string& name) const { return materials_.at(name); }
  const FabricType& fabric_type(const std::string& name) const { return fabric_types_.at(name); }

 private:
  const Material& make_material(const std::string& name) {
    const auto found = materials_.find(name);
    if (found != materials_.end()) return found->second;
    Material material;
    material.identity.name = name;
    make(material, &Project_Service::create_material, &Project_Service::delete_material);
    return materials_.emplace(name, std::move(material)).first->second;
  }

  /// Creates `record` and gives it the id and uid of its row.
  template <class T, class Ref>
  void make(T& record, void (Project_Service::*create)(T, Ref&),
            void (Project_Service::*remove)(Ref, GenericReply&)) {
    Ref ref;
    (project_.*create)(record, ref);
    record.id = ref.id.value();
    record.uid = ref.uid.value();
    undo_.add([&project = project_, remove, ref = std::move(ref)] {
      GenericReply reply;
      (project.*remove)(ref, reply);
    });
  }

  Project_Service& project_;
  Undo& undo_;
  std::map<std::string, Material> materials_;
  std::map<std::string, FabricType> fabric_types_;
};

/// Lines of a plan as the records that are stored.
class Records {
 public:
  explicit Records(const EntriesByName& catalogue) : catalogue_(catalogue) {}

  Rebar bar(const SourceLine& where) const {
    auto line = line_at<BarLine>(where);
    line.item.material_id.set(catalogue_.material(line.drawing.steel).id);
    return std::move(line.item);
  }

  Fabric fabric(const SourceLine& where) const {
    auto line = line_at<FabricLine>(where);
    line.item.fabric_type = catalogue_.fabric_type(line.item.type_name);
    return std::move(line.item);
  }

  BarSpacer bar_spacer(const SourceLine& where) const { return line_at<BarSpacerLine>(where).item; }

  /// All that a revision gets, after `content`.
  void add(const PlannedRevision& planned, Content& content) const {
    for (const SourceLine& line : planned.bars) content.bars.push_back(bar(line));
    for (const SourceLine& line : planned.fabrics) content.fabrics.push_back(fabric(line));
    for (const SourceLine& line : planned.bar_spacers) {
      content.bar_spacers.push_back(bar_spacer(line));
    }
  }

 private:
  template <class Line>
  static Line line_at(const SourceLine& where) {
    return std::get<Line>(bvbs::read_line(bvbs::parse_record(where)));
  }

  const EntriesByName& catalogue_;
};

void refuse_filled(const std::vector<ImportTarget>& targets) {
  const ImportTarget* first = nullptr;
  std::size_t others = 0;
  for (const ImportTarget& target : targets) {
    if (target.result.lines_before == 0) continue;
    if (first != nullptr) ++others;
    if (first == nullptr) first = &target;
  }
  if (first == nullptr) return;
  const std::size_t lines = first->result.lines_before;
  std::string text = "revision \"" + first->result.revision + "\" of sheet \"" +
                     first->result.sheet + "\" has " + std::to_string(lines) + " schedule line" +
                     (lines == 1 ? "" : "s") +
                     " already: replace them, append to them, or name another revision";
  if (others != 0) {
    text += " (and " + std::to_string(others) + " other revision" +
            (others == 1 ? " has" : "s have") + " lines)";
  }
  throw krv::rpc4::BadRequest(text);
}

void note_name_instead(const PlannedRevision& planned, Sheet& sheet) {
  if (!planned.is_sheet_named_after_source) return;
  sheet.properties[bvbs::kNameInsteadProperty].value_string.set(sheet.name);
}

/// Makes the sheets and revisions that are missing. Returns whether there are any.
bool make_missing(NewRevisions& new_revisions, std::vector<ImportTarget>& targets) {
  std::vector<NewRevisions::NewSheet> sheets;
  std::map<std::string, std::size_t> places;
  std::vector<std::pair<std::size_t, std::size_t>> made(targets.size());
  for (std::size_t i = 0; i < targets.size(); ++i) {
    const ImportTarget& target = targets[i];
    if (target.existing) continue;
    const auto [place, is_new] = places.try_emplace(target.planned->sheet, sheets.size());
    if (is_new) {
      sheets.emplace_back();
      sheets.back().record.id = target.sheet_id;
      sheets.back().record.name = target.planned->sheet;
      note_name_instead(*target.planned, sheets.back().record);
    } else if (!target.planned->is_sheet_named_after_source) {
      sheets[place->second].record.properties.erase(bvbs::kNameInsteadProperty);
    }
    auto& revisions = sheets[place->second].revisions;
    made[i] = {place->second, revisions.size()};
    revisions.emplace_back().name = target.planned->revision;
  }
  if (sheets.empty()) return false;
  new_revisions.make(sheets);
  for (std::size_t i = 0; i < targets.size(); ++i) {
    if (targets[i].existing) continue;
    const NewRevisions::NewSheet& sheet = sheets[made[i].first];
    targets[i].sheet_id = sheet.record.id;
    targets[i].result.id = sheet.revisions[made[i].second].id;
  }
  return true;
}

/// Counts the lines that are stored, for who watches.
class Counter {
 public:
  Counter(const Progress& progress, std::size_t total) : progress_(progress), total_(total) {}
  void add(std::size_t lines) {
    done_ += lines;
    if (progress_) progress_("storing", done_, total_);
  }

 private:
  const Progress& progress_;
  std::size_t total_;
  std::size_t done_ = 0;
};

/// Stores the lines of one kind of all revisions that are new.
template <class T, class Read>
void store_lines(Project_Service& project, const std::vector<ImportTarget>& targets,
                 Counter& counter, std::vector<SourceLine> PlannedRevision::*lines, Read read,
                 void (Project_Service::*add)(Batch<T>, GenericReply&)) {
  Batch<T> batch;
  const auto send = [&] {
    const std::size_t size = batch.items.size();
    GenericReply reply;
    if (size != 0) (project.*add)(std::exchange(batch, {}), reply);
    counter.add(size);
  };
  for (const ImportTarget& target : targets) {
    if (target.existing) continue;
    for (const SourceLine& where : target.planned->*lines) {
      T& item = batch.items.emplace_back(read(where));
      item.sheet_id = target.sheet_id;
      item.rev_id = target.result.id;
      if (batch.items.size() == kItemsAtATime) send();
    }
  }
  send();
}

void fill_new(Project_Service& project, const std::vector<ImportTarget>& targets,
              const Records& records, Counter& counter) {
  store_lines(
      project, targets, counter, &PlannedRevision::fabrics,
      [&](const SourceLine& where) { return records.fabric(where); }, &Project_Service::add_fabric);
  store_lines(
      project, targets, counter, &PlannedRevision::bar_spacers,
      [&](const SourceLine& where) { return records.bar_spacer(where); },
      &Project_Service::add_barspacer);
  store_lines(
      project, targets, counter, &PlannedRevision::bars,
      [&](const SourceLine& where) { return records.bar(where); }, &Project_Service::add_rebar);
}

void fill_existing(Project_Service& project, const ContentReader& reader,
                   const std::vector<ImportTarget>& targets, IfFilled if_filled,
                   const Records& records, Counter& counter) {
  for (const ImportTarget& target : targets) {
    if (!target.existing) continue;
    Content content = reader.read(target.existing->content_id);
    if (if_filled == IfFilled::replace) {
      content.bars.clear();
      content.fabrics.clear();
      content.bar_spacers.clear();
    }
    records.add(*target.planned, content);
    replace_content(project, target.result.id, content);
    counter.add(target.planned->size());
  }
}

void keep_project_name(Project_Service& project, const std::string& name, ProjectData record,
                       Undo& undo) {
  if (name.empty() || record.properties.count("project") != 0) return;
  UpdateProject before;
  before.item = record;
  UpdateProject update;
  update.item = std::move(record);
  update.item.properties["project"].value_string.set(name);
  GenericReply reply;
  project.update_project(std::move(update), reply);
  undo.add([&project, before = std::move(before)] {
    GenericReply ignored;
    project.update_project(before, ignored);
  });
}

/// Stores the schedules of a plan.
std::vector<ImportTarget> import_schedules(Project_Service& project, const ImportPlan& plan,
                                           IfFilled if_filled, Counter& counter) {
  const Structure structure = read_structure(project);
  std::vector<ImportTarget> targets = targets_of(plan, structure);
  std::optional<ContentReader> reader;
  if (has_existing(targets)) {
    reader.emplace(project);
    count_lines_before(*reader, targets);
    if (if_filled == IfFilled::refuse) refuse_filled(targets);
  }

  Undo undo;
  EntriesByName catalogue(project, structure, undo);
  catalogue.add(plan);
  // Must be destroyed before the catalogue entries that its lines refer to are taken back.
  NewRevisions new_revisions(project);
  const bool has_new = make_missing(new_revisions, targets);
  const Records records(catalogue);
  fill_new(project, targets, records, counter);
  if (reader) fill_existing(project, *reader, targets, if_filled, records, counter);
  keep_project_name(project, plan.project(), structure.project, undo);
  if (has_new) new_revisions.finish();
  undo.forget();
  return targets;
}

void require_room(Project_Service& project, const PlannedDocument& planned, IfFilled if_filled) {
  try {
    planned.document.require_room(project, if_filled);
  } catch (const DocumentError& error) {
    const std::size_t others = error.faults().size() - 1;
    throw krv::rpc4::BadRequest(planned.source + ": " + error.faults().front() +
                                (others == 0 ? "" : " (and " + std::to_string(others) + " more)"));
  }
}

}  // namespace

ImportResult import_plan(Project_Service& project, const ImportPlan& plan, IfFilled if_filled,
                         const Progress& progress) {
  finish_changes(project);
  for (const PlannedDocument& planned : plan.documents()) {
    require_room(project, planned, if_filled);
  }
  Counter counter(progress, plan.size());
  ImportResult result;
  std::vector<ImportedRevision> before;
  if (!plan.documents().empty()) before = preview_import(&project, plan);
  if (!plan.revisions().empty()) {
    for (ImportTarget& target : import_schedules(project, plan, if_filled, counter)) {
      result.revisions.push_back(std::move(target.result));
    }
  }
  for (const PlannedDocument& planned : plan.documents()) {
    StoredDocument stored = planned.document.store(project, if_filled, true);
    for (StoredRevision& revision : stored.revisions) {
      const std::size_t lines = before.at(result.revisions.size()).lines_before;
      result.revisions.push_back({std::move(revision), lines});
    }
    for (const std::string& note : stored.notes) {
      result.notes.push_back(planned.source + ": " + note);
    }
    counter.add(planned.document.size());
  }
  return result;
}

}  // namespace korvane::schedule
