#include "schedule/document_catalogue.h"

#include <set>
#include <utility>

#include "schedule/document_names.h"

namespace korvane::schedule {

using namespace model::cad;

Catalogue::Catalogue(Project_Service& project, const Structure& structure,
                     const DocumentIndex& index, Undo& undo, std::vector<std::string>& notes) {
  find_or_make(project, structure.materials, index.materials, &Project_Service::create_material,
               &Project_Service::delete_material, undo, notes, materials_);
  find_or_make(project, structure.fabric_types, index.fabric_types,
               &Project_Service::create_fabric_type, &Project_Service::delete_fabric_type, undo,
               notes, fabric_types_);
}

template <class T, class Ref>
void Catalogue::find_or_make(Project_Service& project, const std::map<std::int32_t, T>& there,
                             const std::vector<T>& wanted, void (Project_Service::*create)(T, Ref&),
                             void (Project_Service::*remove)(Ref, GenericReply&), Undo& undo,
                             std::vector<std::string>& notes, References& references) {
  std::vector<T> entries;
  std::set<std::string> uids;
  for (const auto& [id, entry] : there) {
    entries.push_back(entry);
    uids.insert(entry.uid);
  }
  ByName<T> known(entries, [](const T& entry) { return own_name(entry); });
  for (const T& original : wanted) {
    T entry = original;
    refer_inside(entry);
    if (const T* const found = known.take(own_name(original))) {
      entry.id = found->id;
      entry.uid = found->uid;
      if (entry != *found) {
        notes.push_back(name_for_people(original) + " is there with other values, which are kept");
      }
    } else {
      entry.id = T{}.id;
      if (!uids.insert(entry.uid).second) entry.uid.clear();
      Ref ref;
      (project.*create)(entry, ref);
      entry.id = ref.id.value();
      entry.uid = ref.uid.value();
      undo.add([&project, remove, ref = std::move(ref)] {
        GenericReply reply;
        (project.*remove)(ref, reply);
      });
    }
    references[original.id] = {{original.id, original.uid}, {entry.id, entry.uid}};
  }
}

template <class T>
void Catalogue::refer(T& copy, const References& references) {
  const auto found = references.find(copy.id);
  if (found == references.end()) return;
  if (copy.uid == found->second.before.uid) copy.uid = found->second.after.uid;
  copy.id = found->second.after.id;
}

void Catalogue::refer(Content& lines) const {
  for (Rebar& bar : lines.bars) bar.material_id.set(materials_.at(*bar.material_id).after.id);
  for (MountingPart& part : lines.mounting_parts) {
    part.material_id = materials_.at(part.material_id).after.id;
  }
  for (Fabric& fabric : lines.fabrics) {
    refer_inside(fabric.fabric_type);
    refer(fabric.fabric_type, fabric_types_);
  }
}

}  // namespace korvane::schedule
