#include "tools/korvane/store_schedule.h"

#include <exception>
#include <functional>
#include <map>
#include <stdexcept>
#include <utility>

#include "tools/korvane/revision_ref.h"
#include "tools/korvane/terminal_text.h"

namespace korvane::tools {

using namespace model::cad;
using schedule::bvbs::BarLine;
using schedule::bvbs::BarSpacerLine;
using schedule::bvbs::Drawing;
using schedule::bvbs::FabricLine;
using schedule::bvbs::Schedule;

namespace {

/// Takes back what was made, the last first, unless `forget` says that the import is complete.
class Undo {
 public:
  Undo() = default;
  Undo(const Undo&) = delete;
  Undo& operator=(const Undo&) = delete;
  ~Undo() {
    for (auto step = steps_.rbegin(); step != steps_.rend(); ++step) {
      try {
        (*step)();
      } catch (const std::exception&) {
        // The failure that led here is the one to report; what stays is an empty entry.
        continue;
      }
    }
  }

  void add(std::function<void()> step) { steps_.push_back(std::move(step)); }
  void forget() { steps_.clear(); }

 private:
  std::vector<std::function<void()>> steps_;
};

/// Finds catalogue and structure entries by name, and makes those that are missing.
class Names {
 public:
  Names(Project_Service& project, Undo& undo) : project_(project), undo_(undo) {
    Batch<Material> materials;
    project_.list_materials({}, materials);
    for (Material& material : materials.items) {
      materials_.emplace(material.identity.name, std::move(material));
    }
    Batch<FabricType> types;
    project_.list_fabric_type({}, types);
    for (FabricType& type : types.items) fabric_types_.emplace(type.type_name, std::move(type));
    Batch<Sheet> sheets;
    project_.list_sheets({}, sheets);
    for (const Sheet& sheet : sheets.items) sheets_.emplace(sheet.name, sheet.id);
    Batch<Revision> revisions;
    project_.list_revisions({}, revisions);
    for (const Revision& revision : revisions.items) {
      revisions_.emplace(std::pair(revision.sheet_id, revision.name), revision.id);
    }
  }

  const Material& material(const std::string& name) {
    return find_or_make(materials_, name, [&] {
      Material material;
      material.identity.name = name;
      make(material, &Project_Service::create_material, &Project_Service::delete_material);
      return material;
    });
  }

  /// A type that is there keeps its own dimensions, whatever `wanted` says.
  const FabricType& fabric_type(FabricType wanted, const std::string& steel) {
    return find_or_make(fabric_types_, wanted.type_name, [&] {
      wanted.material = material(steel);
      make(wanted, &Project_Service::create_fabric_type, &Project_Service::delete_fabric_type);
      return wanted;
    });
  }

  std::int32_t sheet(const std::string& name) {
    return find_or_make(sheets_, name, [&] {
      Sheet sheet;
      sheet.name = name;
      make(sheet, &Project_Service::create_sheet, &Project_Service::delete_sheet);
      return sheet.id;
    });
  }

  std::int32_t revision(std::int32_t sheet_id, const std::string& name) {
    return find_or_make(revisions_, std::pair(sheet_id, name), [&] {
      Revision revision;
      revision.sheet_id = sheet_id;
      revision.name = name;
      make(revision, &Project_Service::create_revision, &Project_Service::delete_revision);
      return revision.id;
    });
  }

 private:
  template <class Key, class Value, class Make>
  static const Value& find_or_make(std::map<Key, Value>& known, const Key& key, Make make) {
    const auto found = known.find(key);
    if (found != known.end()) return found->second;
    return known.emplace(key, make()).first->second;
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
  std::map<std::string, std::int32_t> sheets_;
  std::map<std::pair<std::int32_t, std::string>, std::int32_t> revisions_;
};

/// The revisions that an import fills. Each must have been empty.
class FilledRevisions {
 public:
  FilledRevisions(Project_Service& project, Names& names) : project_(project), names_(names) {}

  /// Gives `item` its revision and sheet, and counts it there.
  template <class T>
  void place(T& item, const Drawing& drawing, std::size_t ImportedRevision::*count) {
    item.sheet_id = names_.sheet(drawing.sheet);
    item.rev_id = names_.revision(item.sheet_id, drawing.revision);
    const auto [entry, is_new] = filled_.try_emplace(
        item.rev_id, ImportedRevision{item.rev_id, drawing.sheet, drawing.revision, 0, 0, 0});
    if (is_new) require_empty(entry->second);
    ++(entry->second.*count);
  }

  /// From now on a failure clears the content, before it removes the entries that it refers to.
  void clear_when_undone(Undo& undo) const {
    for (const auto& [id, revision] : filled_) {
      undo.add([&project = project_, rev_id = id] {
        GenericReply reply;
        project.clear_for_revision(revision_ref(rev_id), reply);
      });
    }
  }

  std::vector<ImportedRevision> take() {
    std::vector<ImportedRevision> result;
    for (auto& [id, revision] : filled_) result.push_back(std::move(revision));
    return result;
  }

 private:
  void require_empty(const ImportedRevision& revision) {
    Batch<Rebar> bars;
    project_.get_rebars(revision_ref(revision.id), bars);
    FabricRef fabric_ref;
    fabric_ref.rev_id = revision.id;
    Fabrics fabrics;
    project_.get_all_fabrics_for_revision(std::move(fabric_ref), fabrics);
    BarSpacers spacers;
    project_.get_all_barspacers_for_revision(revision_ref(revision.id), spacers);
    const std::size_t lines =
        bars.items.size() + fabrics.fabrics.size() + spacers.barspacers.size();
    if (lines == 0) return;
    throw std::runtime_error("revision \"" + revision.revision + "\" of sheet \"" + revision.sheet +
                             "\" has " + format_count(lines, "schedule line") +
                             " already; name another one with --revision");
  }

  Project_Service& project_;
  Names& names_;
  std::map<std::int32_t, ImportedRevision> filled_;
};

void keep_project_name(Project_Service& project, const std::string& name, Undo& undo) {
  if (name.empty()) return;
  UpdateProject before;
  project.get_project({}, before.item);
  if (before.item.properties.count("project") != 0) return;
  UpdateProject update = before;
  update.item.properties["project"].value_string.set(name);
  GenericReply reply;
  project.update_project(std::move(update), reply);
  undo.add([&project, before = std::move(before)] {
    GenericReply ignored;
    project.update_project(before, ignored);
  });
}

}  // namespace

std::vector<ImportedRevision> store_schedule(Project_Service& project, const Schedule& schedule) {
  Undo undo;
  Names names(project, undo);
  FilledRevisions revisions(project, names);
  std::string project_name;
  const auto note_project = [&](const Drawing& drawing) {
    if (project_name.empty()) project_name = drawing.project;
  };

  Batch<Rebar> bars;
  for (const BarLine& line : schedule.bars) {
    Rebar& bar = bars.items.emplace_back(line.item);
    revisions.place(bar, line.drawing, &ImportedRevision::bars);
    bar.material_id.set(names.material(line.drawing.steel).id);
    note_project(line.drawing);
  }
  Batch<Fabric> fabrics;
  for (const FabricLine& line : schedule.fabrics) {
    Fabric& fabric = fabrics.items.emplace_back(line.item);
    revisions.place(fabric, line.drawing, &ImportedRevision::fabrics);
    fabric.fabric_type = names.fabric_type(line.item.fabric_type, line.drawing.steel);
    note_project(line.drawing);
  }
  Batch<BarSpacer> spacers;
  for (const BarSpacerLine& line : schedule.bar_spacers) {
    revisions.place(spacers.items.emplace_back(line.item), line.drawing,
                    &ImportedRevision::bar_spacers);
    note_project(line.drawing);
  }

  keep_project_name(project, project_name, undo);
  revisions.clear_when_undone(undo);
  // Bars come last, and nothing after them can fail. Fabrics and spacers can be cleared without
  // touching end treatments, which bars share with other revisions.
  GenericReply reply;
  project.add_fabric(std::move(fabrics), reply);
  project.add_barspacer(std::move(spacers), reply);
  project.add_rebar(std::move(bars), reply);
  undo.forget();
  return revisions.take();
}

}  // namespace korvane::tools
