#include "schedule/content_tables.h"

#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>

#include "contracts/cad/end_treatment.describe.h"
#include "contracts/cad/fabric_type.describe.h"
#include "contracts/cad/hook.describe.h"
#include "schedule/column_list.h"
#include "schedule/line_kind.h"
#include "schedule/line_text.h"
#include "schedule/weights.h"

namespace korvane::schedule {

using namespace model::cad;

namespace {

template <class Record, class T>
std::function<const Record*(const ScheduleLine<T>&)> nullable_of(bond::nullable<Record> T::*field) {
  return [field](const ScheduleLine<T>& line) {
    const bond::nullable<Record>& record = line.item.*field;
    return record.hasvalue() ? &*record : nullptr;
  };
}

/// A text for people of a record that may be missing.
template <class Record, class T>
auto text_of(bond::nullable<Record> T::*field, std::string (*text)(const Record&)) {
  return [field, text](const ScheduleLine<T>& line) {
    const bond::nullable<Record>& record = line.item.*field;
    return record.hasvalue() ? cell(text(*record)) : Cell();
  };
}

template <class T>
Cell steel_of(const ScheduleLine<T>& line) {
  return cell(line.steel);
}

template <class T>
Cell mass_cell(const ScheduleLine<T>& line) {
  return cell(mass_of(line.item));
}

Cell length_of_one(const ScheduleLine<Rebar>& line) {
  if (line.item.total_bars == 0) return {};
  return line.item.total_length / line.item.total_bars;
}

Cell estimated_mass(const ScheduleLine<Rebar>& line) {
  return mass_of(line.item) ? Cell() : cell(known(nominal_mass_of(line.item)));
}

// clang-format off
Columns<Rebar> bar_columns() {
  using L = const ScheduleLine<Rebar>&;
  Columns<Rebar> list;
  list.names()
      .count("total_bars", "pieces", &Rebar::total_bars)
      .number("bar_diameter", "diameter", "mm", 3, &Rebar::bar_diameter)
      .number("length", "length", "mm", 1, length_of_one)
      .text("shape_code", "shape", &Rebar::shape_code)
      .text("legs", "legs", [](L line) { return cell(legs_text(line.item.geometry)); })
      .text("steel", "steel", steel_of<Rebar>)
      .number("mass", "weight", "kg", 2, mass_cell<Rebar>).if_none("unknown")
      .letters("", "", &Rebar::parameters_exact)
      .letters("_rounded", " rounded", &Rebar::parameters_rounded)
      .text("start_hook", "hook at start", text_of(&Rebar::start_hook, hook_text))
      .text("end_hook", "hook at end", text_of(&Rebar::end_hook, hook_text))
      .text("start_treatment", "start", text_of(&Rebar::end_treatment_start, treatment_text))
      .text("end_treatment", "end", text_of(&Rebar::end_treatment_end, treatment_text))
      .number("estimated_mass", "estimated weight", "kg", 2, estimated_mass)
      .text("member", "member", &Rebar::member)
      .members(&Rebar::member_multiplier, &Rebar::bars_per_member)
      .text("bar_type_name", "bar type", &Rebar::bar_type_name)
      .number("standard_bend_diameter", "bend diameter", "mm", 3,
              [](L line) { return cell(known(line.item.standard_bend_diameter)); })
      .number("hook_bend_diameter", "hook bend diameter", "mm", 3, &Rebar::hook_bend_diameter)
      .number("out_of_plane_bend_diameter", "bend diameter out of plane", "mm", 3,
              &Rebar::out_of_plane_bend_diameter)
      .text("comment", "comment", &Rebar::comment)
      .text("custom_text", "custom text", &Rebar::custom_text)
      .diff_state()
      .textblock()
      .text("leg_labels", "labels", [](L line) { return cell(labels_text(line.item.geometry)); })
      .properties()
      .mark_parts()
      .text("submark", "submark", &Rebar::submark).for_programs()
      .count("member_multiplier", "number of members", &Rebar::member_multiplier).for_programs()
      .count("bars_per_member", "bars per member", &Rebar::bars_per_member).for_programs()
      .number("total_length", "total length", "mm", 1, &Rebar::total_length).for_programs()
      .number("bar_type_mass_per_length", "weight per metre", "kg/m", 4,
              [](L line) { return cell(known(line.item.bar_type_mass_per_length)); })
      .for_programs()
      .text("vertices", "vertices", [](L line) { return cell(vertices_text(line.item.geometry)); })
      .for_programs()
      .fields<Hook>("start_hook_", nullable_of(&Rebar::start_hook))
      .fields<Hook>("end_hook_", nullable_of(&Rebar::end_hook))
      .fields<EndTreatment>("start_treatment_", nullable_of(&Rebar::end_treatment_start))
      .fields<EndTreatment>("end_treatment_", nullable_of(&Rebar::end_treatment_end));
  return list;
}

Columns<Fabric> fabric_columns() {
  using L = const ScheduleLine<Fabric>&;
  Columns<Fabric> list;
  list.names()
      .count("total_fabrics", "pieces", &Fabric::total_fabrics)
      .text("type_name", "type", &Fabric::type_name)
      .number("length", "length", "mm", 1, &Fabric::length)
      .number("width", "width", "mm", 1, &Fabric::width)
      .text("shape_code", "shape", &Fabric::shape_code)
      .text("legs", "legs", text_of(&Fabric::geometry, legs_text))
      .text("steel", "steel", steel_of<Fabric>)
      .number("mass", "weight", "kg", 2, mass_cell<Fabric>).if_none("unknown")
      .number("fabric_weight", "weight of one", "kg", 3,
              [](L line) { return cell(known(line.item.fabric_weight)); })
      .letters("", "", &Fabric::parameters_exact)
      .letters("_rounded", " rounded", &Fabric::parameters_rounded)
      .text("member", "member", &Fabric::member)
      .members(&Fabric::member_multiplier, &Fabric::fabrics_per_member)
      .number("standard_bend_diameter", "bend diameter", "mm", 3,
              [](L line) { return cell(known(line.item.standard_bend_diameter)); })
      .text("comment", "comment", &Fabric::comment)
      .diff_state()
      .textblock()
      .text("leg_labels", "labels", text_of(&Fabric::geometry, labels_text))
      .text("list_fabric", "list fabric", [](L line) {
        return line.type.list_fabric.empty() ? Cell()
                                             : cell(list_fabric_text(*line.type.list_fabric));
      })
      .text("fabric_type_description", "description of the type",
            [](L line) { return cell(line.type.description); })
      .properties()
      .mark_parts()
      .count("member_multiplier", "number of members", &Fabric::member_multiplier).for_programs()
      .count("fabrics_per_member", "fabrics per member", &Fabric::fabrics_per_member)
      .for_programs()
      .count("multiplier", "multiplier", &Fabric::multiplier).for_programs()
      .text("vertices", "vertices", text_of(&Fabric::geometry, vertices_text)).for_programs()
      .text("fabric_type", "type in the catalogue", [](L line) { return cell(line.type.type_name); })
      .for_programs()
      .number("fabric_type_overall_length", "length of the type", "mm", 1,
              [](L line) { return cell(line.type.overall_length); }).for_programs()
      .number("fabric_type_overall_width", "width of the type", "mm", 1,
              [](L line) { return cell(line.type.overall_width); }).for_programs()
      .number("fabric_type_sheet_mass", "weight of the type", "kg", 3,
              [](L line) { return cell(known(line.type.sheet_mass)); }).for_programs()
      .fields<ListenMatten>("list_fabric_", [](L line) {
        return line.type.list_fabric.hasvalue() ? &*line.type.list_fabric : nullptr;
      });
  return list;
}

Columns<BarSpacer> bar_spacer_columns() {
  using L = const ScheduleLine<BarSpacer>&;
  Columns<BarSpacer> list;
  list.names()
      .count("quantity", "pieces", &BarSpacer::quantity)
      .text("name", "name", &BarSpacer::name)
      .number("length", "length", "mm", 1, &BarSpacer::length)
      .number("mass", "weight", "kg", 2, mass_cell<BarSpacer>).if_none("unknown")
      .number("weight_per_piece", "weight of one", "kg", 3,
              [](L line) { return cell(known(line.item.weight_per_piece)); })
      .text("description", "description", &BarSpacer::description)
      .diff_state()
      .properties();
  return list;
}

Columns<MountingPart> mounting_part_columns() {
  Columns<MountingPart> list;
  list.names()
      .count("quantity", "pieces", &MountingPart::quantity)
      .text("family_name", "family", &MountingPart::family_name)
      .text("type_name", "type", &MountingPart::type_name)
      .text("manufacturer", "manufacturer", &MountingPart::manufacturer)
      .text("model", "model", &MountingPart::model)
      .text("order_number", "order number", &MountingPart::order_number)
      .text("material", "material", steel_of<MountingPart>)
      .text("member", "member", &MountingPart::member)
      .number("cost", "cost", "", 2, &MountingPart::cost)
      .text("catalog", "catalogue", &MountingPart::catalog)
      .text("keynote", "keynote", &MountingPart::keynote)
      .text("description", "description", &MountingPart::description)
      .text("comment", "comment", &MountingPart::comment)
      .text("url", "address", &MountingPart::url)
      .diff_state()
      .mark_parts();
  return list;
}
// clang-format on

template <class T>
Table table_of(const Columns<T>& columns, const char* name, const char* title,
               const Structure& structure, const SelectedRevision& selected,
               const std::vector<T>& items) {
  Table table = columns.table(name, title);
  table.rows.reserve(items.size());
  for (const T& item : items) table.rows.push_back(columns.row(line_of(structure, selected, item)));
  return table;
}

}  // namespace

template <class T>
ScheduleLine<T> line_of(const Structure& structure, const SelectedRevision& selected,
                        const T& item) {
  ScheduleLine<T> line{structure, selected, item, {}, {}};
  if constexpr (std::is_same_v<T, Rebar>) {
    if (item.material_id.hasvalue()) line.steel = steel_name(structure, *item.material_id);
  } else if constexpr (std::is_same_v<T, MountingPart>) {
    line.steel = steel_name(structure, item.material_id);
  } else if constexpr (std::is_same_v<T, Fabric>) {
    line.type = type_of(structure, item);
    line.steel = line.type.material.identity.name;
  }
  return line;
}

template ScheduleLine<Rebar> line_of(const Structure&, const SelectedRevision&, const Rebar&);
template ScheduleLine<Fabric> line_of(const Structure&, const SelectedRevision&, const Fabric&);
template ScheduleLine<BarSpacer> line_of(const Structure&, const SelectedRevision&,
                                         const BarSpacer&);
template ScheduleLine<MountingPart> line_of(const Structure&, const SelectedRevision&,
                                            const MountingPart&);

template <>
const Columns<Rebar>& columns_of() {
  static const Columns<Rebar> columns = bar_columns();
  return columns;
}
template <>
const Columns<Fabric>& columns_of() {
  static const Columns<Fabric> columns = fabric_columns();
  return columns;
}
template <>
const Columns<BarSpacer>& columns_of() {
  static const Columns<BarSpacer> columns = bar_spacer_columns();
  return columns;
}
template <>
const Columns<MountingPart>& columns_of() {
  static const Columns<MountingPart> columns = mounting_part_columns();
  return columns;
}

std::vector<Table> content_tables(const Structure& structure, const SelectedRevision& selected,
                                  const Content& content) {
  std::vector<Table> tables;
  const auto add = [&](const auto& items, const char* title) {
    using T = typename std::decay_t<decltype(items)>::value_type;
    tables.push_back(
        table_of(columns_of<T>(), LineKind<T>::kName, title, structure, selected, items));
  };
  add(content.bars, "Bars");
  add(content.fabrics, "Fabrics");
  add(content.bar_spacers, "Bar spacers");
  add(content.mounting_parts, "Mounting parts");
  return tables;
}

std::string steel_name(const Structure& structure, std::int32_t material_id) {
  const auto found = structure.materials.find(material_id);
  if (found == structure.materials.end()) return "material " + std::to_string(material_id);
  return found->second.identity.name;
}

FabricType type_of(const Structure& structure, const Fabric& fabric) {
  const auto found = structure.fabric_types.find(fabric.fabric_type.id);
  FabricType type = found == structure.fabric_types.end() ? fabric.fabric_type : found->second;
  const auto material = structure.materials.find(type.material.id);
  if (material != structure.materials.end()) type.material = material->second;
  return type;
}

}  // namespace korvane::schedule
