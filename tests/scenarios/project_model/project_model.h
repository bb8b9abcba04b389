#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "contracts/cad/contracts.h"
#include "tests/support/content_kinds.h"
#include "tests/support/entity_kinds.h"

namespace korvane::test {

/// A project as plain data: what the store ought to hold after each operation. An operation that
/// the store must refuse returns nothing, or false, and changes nothing.
class ProjectModel {
 public:
  using EndTreatment = model::cad::EndTreatment;

  /// The rows of an entity's table. A row's id and uid stand in its record, as reads give it.
  template <class Entity>
  struct Entities {
    using Record = typename Entity::Record;

    std::map<std::int32_t, Record> rows;
    /// The column of each row that refers to its parent. Only a fabric type's update changes it.
    std::map<std::int32_t, std::int32_t> parents;
    /// AUTOINCREMENT never gives an id twice.
    std::int32_t last_id = 0;

    bool has(std::int32_t id) const { return rows.count(id) != 0; }

    bool has_uid(const std::string& uid) const {
      return std::any_of(rows.begin(), rows.end(),
                         [&](const auto& row) { return row.second.uid == uid; });
    }

    /// `record` with the uid of its row.
    std::int32_t add(Record record) {
      record.id = ++last_id;
      if constexpr (HasParent<Entity>) parents[last_id] = Entity::parent_id(record);
      rows.emplace(record.id, std::move(record));
      return last_id;
    }

    const Record* find(const typename Entity::Ref& ref) const {
      if (ref.id && has(ref.id.value())) return &rows.at(ref.id.value());
      if (!ref.uid) return nullptr;
      for (const auto& [id, record] : rows) {
        if (record.uid == ref.uid.value()) return &record;
      }
      return nullptr;
    }

    /// The row that a delete takes: by id alone if that is set.
    std::optional<std::int32_t> row_to_delete(const typename Entity::Ref& ref) const {
      if (ref.id) return has(ref.id.value()) ? std::optional(ref.id.value()) : std::nullopt;
      const Record* const found = find(ref);
      return found == nullptr ? std::nullopt : std::optional(found->id);
    }

    void remove(std::int32_t id) {
      rows.erase(id);
      parents.erase(id);
    }

    std::vector<Record> all() const {
      std::vector<Record> records;
      for (const auto& [id, record] : rows) records.push_back(record);
      return records;
    }

    std::vector<std::int32_t> children_of(std::int32_t parent) const {
      std::vector<std::int32_t> children;
      for (const auto& [id, its_parent] : parents) {
        if (its_parent == parent) children.push_back(id);
      }
      return children;
    }
  };

  /// A row of content. Only bars have the ids of end treatments.
  template <class Kind>
  struct ContentRow {
    typename Kind::Record record;
    std::optional<std::int32_t> start = std::nullopt;
    std::optional<std::int32_t> end = std::nullopt;
  };

  template <class Kind>
  using Content = std::vector<ContentRow<Kind>>;

  template <class Entity>
  Entities<Entity>& entities() {
    return std::get<Entities<Entity>>(entities_);
  }
  template <class Entity>
  const Entities<Entity>& entities() const {
    return std::get<Entities<Entity>>(entities_);
  }
  template <class Kind>
  Content<Kind>& content() {
    return std::get<Content<Kind>>(content_);
  }
  template <class Kind>
  const Content<Kind>& content() const {
    return std::get<Content<Kind>>(content_);
  }

  std::map<std::int32_t, EndTreatment> end_treatments;
  std::optional<model::cad::ProjectData> project;

  /// Whether there is a row for content to refer to.
  bool has(std::string_view table, std::int32_t id) const {
    if (table == "revision") return entities<RevisionEntity>().has(id);
    if (table == "material") return entities<MaterialEntity>().has(id);
    return entities<FabricTypeEntity>().has(id);
  }

  /// Whether the table takes the record, whatever its uid, as the row `own_id` or as a new one.
  template <class Entity>
  bool may_save(typename Entity::Record record, std::int32_t own_id) const {
    if constexpr (std::is_same_v<Entity, FabricTypeEntity>) {
      for (const auto& [id, other] : entities<Entity>().rows) {
        if (id != own_id && other.type_name == record.type_name) return false;
      }
    }
    if constexpr (HasParent<Entity>) {
      return entities<typename Entity::Parent>().has(Entity::parent_id(record));
    }
    return true;
  }

  /// An update keeps the uid and the parent of the row; a fabric type's rewrites both.
  template <class Entity>
  bool update(typename Entity::Record record) {
    auto& known = entities<Entity>();
    const auto row = known.rows.find(record.id);
    if (row == known.rows.end()) return true;
    if constexpr (std::is_same_v<Entity, FabricTypeEntity>) {
      if (row->second.uid != record.uid && known.has_uid(record.uid)) return false;
      if (!may_save<Entity>(record, record.id)) return false;
      known.parents[record.id] = Entity::parent_id(record);
    } else {
      record.uid = row->second.uid;
    }
    row->second = std::move(record);
    return true;
  }

  bool remove_material(std::int32_t id) {
    if (is_in_use("material", id)) return false;
    if (!entities<FabricTypeEntity>().children_of(id).empty()) return false;
    entities<MaterialEntity>().remove(id);
    return true;
  }

  bool remove_fabric_type(std::int32_t id) {
    if (is_in_use("fabric_type", id)) return false;
    entities<FabricTypeEntity>().remove(id);
    return true;
  }

  void remove_sheet(std::int32_t id) {
    entities<SheetEntity>().remove(id);
    for (const std::int32_t revision : entities<RevisionEntity>().children_of(id)) {
      remove_revision(revision);
    }
  }

  void remove_revision(std::int32_t id) {
    entities<RevisionEntity>().remove(id);
    for_each_content_kind([&]<class Kind>() {
      if (goes_with_revision<Kind>()) erase_content<Kind>(id);
    });
  }

  template <class Kind>
  bool add(const std::vector<typename Kind::Record>& batch) {
    for (const auto& record : batch) {
      for (const auto& reference : Kind::references) {
        if (!has(reference.parent_table, reference.get(record))) return false;
      }
    }
    for (const auto& record : batch) {
      ContentRow<Kind> row{record};
      if constexpr (std::is_same_v<Kind, RebarKind>) {
        row.start = treatment_id(record.end_treatment_start);
        row.end = treatment_id(record.end_treatment_end);
      }
      content<Kind>().push_back(std::move(row));
    }
    return true;
  }

  /// Treatments that bars of other revisions share are deleted as well.
  void clear_revision(std::int32_t rev_id) {
    std::set<std::int32_t> gone;
    for (const auto& row : content<RebarKind>()) {
      if (row.record.rev_id != rev_id) continue;
      if (row.start) gone.insert(*row.start);
      if (row.end) gone.insert(*row.end);
    }
    for (const std::int32_t id : gone) end_treatments.erase(id);
    for (auto& row : content<RebarKind>()) {
      if (row.start && gone.count(*row.start) != 0) row.start.reset();
      if (row.end && gone.count(*row.end) != 0) row.end.reset();
    }
    for_each_content_kind([&]<class Kind>() {
      if (Kind::is_cleared) erase_content<Kind>(rev_id);
    });
  }

  template <class Kind>
  std::vector<typename Kind::Record> content_of(std::int32_t rev_id) const {
    std::vector<typename Kind::Record> found;
    for (const auto& row : content<Kind>()) {
      if (row.record.rev_id == rev_id) found.push_back(row.record);
    }
    return found;
  }

 private:
  template <class Kind>
  void erase_content(std::int32_t rev_id) {
    std::erase_if(content<Kind>(),
                  [&](const ContentRow<Kind>& row) { return row.record.rev_id == rev_id; });
  }

  /// Whether a row of content refers to that row.
  bool is_in_use(std::string_view table, std::int32_t id) const {
    bool is_in_use = false;
    for_each_content_kind([&]<class Kind>() {
      for (const auto& row : content<Kind>()) {
        for (const auto& reference : Kind::references) {
          is_in_use |= reference.parent_table == table && reference.get(row.record) == id;
        }
      }
    });
    return is_in_use;
  }

  static auto six_values(const EndTreatment& treatment) {
    return std::tie(treatment.type, treatment.type_description, treatment.manufacturer,
                    treatment.model, treatment.diameter, treatment.comment);
  }

  std::optional<std::int32_t> treatment_id(const bond::nullable<EndTreatment>& treatment) {
    if (!treatment.hasvalue()) return std::nullopt;
    for (const auto& [id, known] : end_treatments) {
      if (six_values(known) == six_values(*treatment)) return id;
    }
    // Without AUTOINCREMENT an id is one more than the highest.
    const std::int32_t id = end_treatments.empty() ? 1 : end_treatments.rbegin()->first + 1;
    end_treatments.emplace(id, *treatment);
    return id;
  }

  std::tuple<Entities<MaterialEntity>, Entities<FabricTypeEntity>, Entities<SheetEntity>,
             Entities<RevisionEntity>>
      entities_;
  std::tuple<Content<RebarKind>, Content<FabricKind>, Content<BarSpacerKind>,
             Content<MountingPartKind>>
      content_;
};

}  // namespace korvane::test
