#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "contracts/cad/contracts.h"

namespace korvane::test {

/// A project as plain data: what the store ought to hold after each operation. An operation that
/// the store must refuse returns nothing, or false, and changes nothing.
class ProjectModel {
 public:
  using Material = model::cad::Material;
  using FabricType = model::cad::FabricType;
  using Sheet = model::cad::Sheet;
  using Revision = model::cad::Revision;
  using Rebar = model::cad::Rebar;
  using Fabric = model::cad::Fabric;
  using BarSpacer = model::cad::BarSpacer;
  using MountingPart = model::cad::MountingPart;
  using EndTreatment = model::cad::EndTreatment;

  /// The rows of an entity table. A row's id and uid stand in its record, as reads give it.
  template <class T>
  struct Entities {
    std::map<std::int32_t, T> rows;
    /// AUTOINCREMENT never gives an id twice.
    std::int32_t last_id = 0;

    bool has(std::int32_t id) const { return rows.count(id) != 0; }

    bool has_uid(const std::string& uid) const {
      return std::any_of(rows.begin(), rows.end(),
                         [&](const auto& row) { return row.second.uid == uid; });
    }

    /// `record` with the uid of its row.
    std::int32_t add(T record) {
      record.id = ++last_id;
      rows.emplace(record.id, std::move(record));
      return last_id;
    }

    template <class Ref>
    const T* find(const Ref& ref) const {
      if (ref.id && has(ref.id.value())) return &rows.at(ref.id.value());
      if (!ref.uid) return nullptr;
      for (const auto& [id, record] : rows) {
        if (record.uid == ref.uid.value()) return &record;
      }
      return nullptr;
    }

    /// The row that a delete takes: by id alone if that is set.
    template <class Ref>
    std::optional<std::int32_t> row_to_delete(const Ref& ref) const {
      if (ref.id) return has(ref.id.value()) ? std::optional(ref.id.value()) : std::nullopt;
      const T* const found = find(ref);
      return found == nullptr ? std::nullopt : std::optional(found->id);
    }

    void replace(const T& record) {
      const auto row = rows.find(record.id);
      if (row == rows.end()) return;
      const std::string uid = row->second.uid;
      row->second = record;
      row->second.uid = uid;
    }

    std::vector<T> all() const {
      std::vector<T> records;
      for (const auto& [id, record] : rows) records.push_back(record);
      return records;
    }
  };

  struct RebarRow {
    Rebar record;
    std::optional<std::int32_t> start;
    std::optional<std::int32_t> end;
  };

  Entities<Material> materials;
  Entities<FabricType> fabric_types;
  Entities<Sheet> sheets;
  Entities<Revision> revisions;
  /// The column `sheet_id` of each revision, which updates leave alone.
  std::map<std::int32_t, std::int32_t> sheet_of_revision;
  std::vector<RebarRow> rebars;
  std::vector<Fabric> fabrics;
  std::vector<BarSpacer> bar_spacers;
  std::vector<MountingPart> mounting_parts;
  std::map<std::int32_t, EndTreatment> end_treatments;
  std::optional<model::cad::ProjectData> project;

  /// Whether the table takes the type besides its uid, as the row `own_id` or as a new one.
  bool may_save(const FabricType& type, std::int32_t own_id) const {
    for (const auto& [id, other] : fabric_types.rows) {
      if (id != own_id && other.type_name == type.type_name) return false;
    }
    return materials.has(type.material.id);
  }

  /// The update that rewrites the uid as well.
  bool update_fabric_type(const FabricType& type) {
    if (!fabric_types.has(type.id)) return true;
    const bool keeps_uid = fabric_types.rows.at(type.id).uid == type.uid;
    if (!keeps_uid && fabric_types.has_uid(type.uid)) return false;
    if (!may_save(type, type.id)) return false;
    fabric_types.rows[type.id] = type;
    return true;
  }

  bool delete_material(std::int32_t id) {
    for (const RebarRow& row : rebars) {
      if (*row.record.material_id == id) return false;
    }
    for (const MountingPart& part : mounting_parts) {
      if (part.material_id == id) return false;
    }
    for (const auto& [type_id, material] : material_of_type) {
      if (material == id) return false;
    }
    materials.rows.erase(id);
    return true;
  }

  /// The column `material_id` of each fabric type.
  std::map<std::int32_t, std::int32_t> material_of_type;

  bool delete_fabric_type(std::int32_t id) {
    for (const Fabric& fabric : fabrics) {
      if (fabric.fabric_type.id == id) return false;
    }
    fabric_types.rows.erase(id);
    material_of_type.erase(id);
    return true;
  }

  void delete_sheet(std::int32_t id) {
    sheets.rows.erase(id);
    std::vector<std::int32_t> children;
    for (const auto& [revision, sheet] : sheet_of_revision) {
      if (sheet == id) children.push_back(revision);
    }
    for (const std::int32_t revision : children) delete_revision(revision);
  }

  /// Bar spacers stay: no foreign key ties them.
  void delete_revision(std::int32_t id) {
    revisions.rows.erase(id);
    sheet_of_revision.erase(id);
    std::erase_if(rebars, [&](const RebarRow& row) { return row.record.rev_id == id; });
    std::erase_if(fabrics, [&](const Fabric& fabric) { return fabric.rev_id == id; });
    std::erase_if(mounting_parts, [&](const MountingPart& part) { return part.rev_id == id; });
  }

  bool add_rebars(const std::vector<Rebar>& bars) {
    for (const Rebar& bar : bars) {
      const bool has_material = bar.material_id.hasvalue() && materials.has(*bar.material_id);
      if (!has_material || !revisions.has(bar.rev_id)) return false;
    }
    for (const Rebar& bar : bars) {
      RebarRow row{bar, std::nullopt, std::nullopt};
      if (bar.end_treatment_start.hasvalue()) row.start = treatment_id(*bar.end_treatment_start);
      if (bar.end_treatment_end.hasvalue()) row.end = treatment_id(*bar.end_treatment_end);
      rebars.push_back(std::move(row));
    }
    return true;
  }

  bool add_fabrics(const std::vector<Fabric>& batch) {
    for (const Fabric& fabric : batch) {
      if (!revisions.has(fabric.rev_id) || !fabric_types.has(fabric.fabric_type.id)) return false;
    }
    fabrics.insert(fabrics.end(), batch.begin(), batch.end());
    return true;
  }

  bool add_mounting_parts(const std::vector<MountingPart>& batch) {
    for (const MountingPart& part : batch) {
      if (!revisions.has(part.rev_id) || !materials.has(part.material_id)) return false;
    }
    mounting_parts.insert(mounting_parts.end(), batch.begin(), batch.end());
    return true;
  }

  /// Mounting parts stay. Treatments that others share go all the same.
  void clear_revision(std::int32_t rev_id) {
    std::set<std::int32_t> gone;
    for (const RebarRow& row : rebars) {
      if (row.record.rev_id != rev_id) continue;
      if (row.start) gone.insert(*row.start);
      if (row.end) gone.insert(*row.end);
    }
    for (const std::int32_t id : gone) end_treatments.erase(id);
    for (RebarRow& row : rebars) {
      if (row.start && gone.count(*row.start) != 0) row.start.reset();
      if (row.end && gone.count(*row.end) != 0) row.end.reset();
    }
    std::erase_if(rebars, [&](const RebarRow& row) { return row.record.rev_id == rev_id; });
    std::erase_if(fabrics, [&](const Fabric& fabric) { return fabric.rev_id == rev_id; });
    std::erase_if(bar_spacers, [&](const BarSpacer& spacer) { return spacer.rev_id == rev_id; });
  }

  template <class T>
  static std::vector<T> of_revision(const std::vector<T>& records, std::int32_t rev_id) {
    std::vector<T> found;
    for (const T& record : records) {
      if (record.rev_id == rev_id) found.push_back(record);
    }
    return found;
  }

  std::vector<Rebar> rebars_of(std::int32_t rev_id) const {
    std::vector<Rebar> found;
    for (const RebarRow& row : rebars) {
      if (row.record.rev_id == rev_id) found.push_back(row.record);
    }
    return found;
  }

 private:
  static auto six_values(const EndTreatment& treatment) {
    return std::tie(treatment.type, treatment.type_description, treatment.manufacturer,
                    treatment.model, treatment.diameter, treatment.comment);
  }

  std::int32_t treatment_id(const EndTreatment& treatment) {
    for (const auto& [id, known] : end_treatments) {
      if (six_values(known) == six_values(treatment)) return id;
    }
    // Without AUTOINCREMENT the id after the highest there is.
    const std::int32_t id = end_treatments.empty() ? 1 : end_treatments.rbegin()->first + 1;
    end_treatments.emplace(id, treatment);
    return id;
  }
};

}  // namespace korvane::test
