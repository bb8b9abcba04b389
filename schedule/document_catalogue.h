#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/project_rpc/project_service.h"
#include "schedule/content.h"
#include "schedule/document_index.h"
#include "schedule/structure.h"
#include "schedule/undo.h"

namespace korvane::schedule {

/// Entries by their names. Of several with one name the first is taken first.
template <class Entry>
class ByName {
 public:
  /// The entries must outlive the object.
  template <class Entries, class Name>
  ByName(const Entries& entries, Name name) {
    for (const Entry& entry : entries) entries_[name(entry)].push_back(&entry);
  }

  /// None if there is no other of this name.
  const Entry* take(const std::string& name) {
    const auto found = entries_.find(name);
    if (found == entries_.end() || found->second.empty()) return nullptr;
    const Entry* const entry = found->second.front();
    found->second.pop_front();
    return entry;
  }

 private:
  std::map<std::string, std::deque<const Entry*>> entries_;
};

/// The materials and fabric types of a document, and which of a project's they are.
class Catalogue {
 public:
  /// Finds those of the document in the project, by their names, and makes those that it lacks.
  /// `undo` takes that back. Adds what the project has otherwise to `notes`. Throws what the project
  /// throws.
  Catalogue(model::cad::Project_Service& project, const Structure& structure,
            const DocumentIndex& index, Undo& undo, std::vector<std::string>& notes);

  /// Has lines of the document refer to the project's entries, their copies of entries too. A copy
  /// of an entry that the document lacks stays as it is.
  void refer(Content& lines) const;

 private:
  struct Identity {
    std::int32_t id = 0;
    std::string uid;
  };
  /// What an entry is in the document and what it is in the project.
  struct Reference {
    Identity before;
    Identity after;
  };
  /// By the id in the document.
  using References = std::map<std::int32_t, Reference>;

  template <class T, class Ref>
  void find_or_make(model::cad::Project_Service& project, const std::map<std::int32_t, T>& there,
                    const std::vector<T>& wanted,
                    void (model::cad::Project_Service::*create)(T, Ref&),
                    void (model::cad::Project_Service::*remove)(Ref, GenericReply&), Undo& undo,
                    std::vector<std::string>& notes, References& references);

  template <class T>
  static void refer(T& copy, const References& references);
  void refer_inside(model::cad::Material&) const {}
  void refer_inside(model::cad::FabricType& type) const { refer(type.material, materials_); }

  References materials_;
  References fabric_types_;
};

}  // namespace korvane::schedule
