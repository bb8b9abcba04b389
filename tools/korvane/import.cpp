#include "tools/korvane/import.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <tuple>
#include <utility>

namespace korvane::tool {

using namespace model::cad;  // NOLINT(google-build-using-namespace): this file speaks of little
                             // else

namespace {

/// Takes back what an import has made, last thing first, unless the import is whole.
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
        // The failure that led here is the one to be told; what is left behind is an empty entry.
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
    for (const Material& material : materials.items) {
      materials_.emplace(material.identity.name, material.id);
    }
    Batch<Sheet> sheets;
    project_.list_sheets({}, sheets);
    for (const Sheet& sheet : sheets.items) sheets_.emplace(sheet.name, sheet.id);
    Batch<Revision> revisions;
    project_.list_revisions({}, revisions);
    for (const Revision& revision : revisions.items) {
      revisions_.emplace(std::pair(revision.sheet_id, revision.name), revision.id);
    }
  }

  std::int32_t material(const std::string& name) {
    return find_or_make(materials_, name, [&] {
      Material material;
      material.identity.name = name;
      MaterialRef ref;
      project_.create_material(std::move(material), ref);
      const std::int32_t id = ref.id.value();
      undo_.add([this_project = &project_, ref = std::move(ref)] {
        GenericReply reply;
        this_project->delete_material(ref, reply);
      });
      return id;
    });
  }

  std::int32_t sheet(const std::string& name, const std::string& project_name) {
    return find_or_make(sheets_, name, [&] {
      Sheet sheet;
      sheet.name = name;
      if (!project_name.empty()) sheet.properties["project"].value_string.set(project_name);
      SheetRef ref;
      project_.create_sheet(std::move(sheet), ref);
      const std::int32_t id = ref.id.value();
      undo_.add([this_project = &project_, ref = std::move(ref)] {
        GenericReply reply;
        this_project->delete_sheet(ref, reply);
      });
      return id;
    });
  }

  std::int32_t revision(std::int32_t sheet_id, const std::string& name) {
    return find_or_make(revisions_, std::pair(sheet_id, name), [&] {
      Revision revision;
      revision.sheet_id = sheet_id;
      revision.name = name;
      RevisionRef ref;
      project_.create_revision(std::move(revision), ref);
      const std::int32_t id = ref.id.value();
      undo_.add([this_project = &project_, ref = std::move(ref)] {
        GenericReply reply;
        this_project->delete_revision(ref, reply);
      });
      return id;
    });
  }

 private:
  template <class Key, class Make>
  static std::int32_t find_or_make(std::map<Key, std::int32_t>& known, const Key& key, Make make) {
    const auto found = known.find(key);
    if (found != known.end()) return found->second;
    const std::int32_t id = make();
    known.emplace(key, id);
    return id;
  }

  Project_Service& project_;
  Undo& undo_;
  std::map<std::string, std::int32_t> materials_;
  std::map<std::string, std::int32_t> sheets_;
  std::map<std::pair<std::int32_t, std::string>, std::int32_t> revisions_;
};

void require_no_bars(Project_Service& project, const ImportedRevision& revision) {
  RevisionRef ref;
  ref.id = revision.id;
  Batch<Rebar> bars;
  project.get_rebars(std::move(ref), bars);
  if (bars.items.empty()) return;
  throw std::runtime_error("revision \"" + revision.revision + "\" of sheet \"" + revision.sheet +
                           "\" has " + std::to_string(bars.items.size()) +
                           " bars already; name another one with --revision");
}

}  // namespace

ScheduleFile read_schedule(const std::string& filename, const ScheduleNames& names) {
  std::ifstream input(filename, std::ios::binary);
  if (!input) throw std::runtime_error("cannot read " + filename);
  ScheduleFile schedule;
  for (const bvbs::Record& record : bvbs::read_records(input)) {
    if (record.group != "BF2D") {
      ++schedule.passed_over[record.group];
      continue;
    }
    bvbs::FlatBar bar = bvbs::flat_bar(record);
    if (bar.weight_was_total) {
      schedule.remarks.push_back("line " + std::to_string(record.line) +
                                 ": the stated weight was taken as that of all pieces");
    }
    if (bar.rebar.bar_type_mass_per_length == 0) {
      schedule.remarks.push_back("line " + std::to_string(record.line) +
                                 ": no weight is stated; the mass per metre is 0");
    }
    if (bar.sheet.empty()) bar.sheet = std::filesystem::path(filename).stem().string();
    if (names.sheet) bar.sheet = *names.sheet;
    if (names.revision) bar.revision = *names.revision;
    schedule.bars.push_back(std::move(bar));
  }
  return schedule;
}

std::vector<ImportedRevision> store_schedule(Project_Service& project,
                                             const ScheduleFile& schedule) {
  Undo undo;
  Names names(project, undo);
  std::map<std::int32_t, ImportedRevision> filled;
  Batch<Rebar> batch;
  for (const bvbs::FlatBar& bar : schedule.bars) {
    const std::int32_t sheet_id = names.sheet(bar.sheet, bar.project);
    const std::int32_t rev_id = names.revision(sheet_id, bar.revision);
    const auto [entry, is_new] =
        filled.try_emplace(rev_id, ImportedRevision{rev_id, bar.sheet, bar.revision, 0});
    if (is_new) require_no_bars(project, entry->second);
    ++entry->second.bars;
    Rebar& rebar = batch.items.emplace_back(bar.rebar);
    rebar.rev_id = rev_id;
    rebar.sheet_id = sheet_id;
    rebar.material_id.set(names.material(bar.steel));
  }
  GenericReply reply;
  project.add_rebar(std::move(batch), reply);
  undo.forget();
  std::vector<ImportedRevision> result;
  for (auto& [id, revision] : filled) result.push_back(std::move(revision));
  return result;
}

}  // namespace korvane::tool
