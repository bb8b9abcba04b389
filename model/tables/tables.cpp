#include "model/tables/tables.h"

namespace korvane::model::tables {

using namespace cad;

template <>
Table<ProjectData> table_of() {
  return Table<ProjectData>("project").column("id", "INTEGER PRIMARY KEY AUTOINCREMENT").raw();
}

template <>
Table<Material> table_of() {
  return Table<Material>("material")
      .column("id", "INTEGER PRIMARY KEY AUTOINCREMENT")
      .column("uid", "TEXT UNIQUE", &Material::uid)
      .raw();
}

template <>
Table<Sheet> table_of() {
  return Table<Sheet>("sheet")
      .column("id", "INTEGER PRIMARY KEY AUTOINCREMENT")
      .column("uid", "TEXT UNIQUE", &Sheet::uid)
      .raw();
}

template <>
Table<Revision> table_of() {
  return Table<Revision>("revision")
      .column("id", "INTEGER PRIMARY KEY AUTOINCREMENT")
      .column("uid", "TEXT UNIQUE", &Revision::uid)
      .column("sheet_id", "INTEGER", &Revision::sheet_id)
      .inserted_first()  // the one insert that does not follow its table
      .raw()
      .constraints(
          "FOREIGN KEY (sheet_id) REFERENCES sheet(id) ON UPDATE CASCADE ON DELETE CASCADE");
}

// No foreign key, unlike its three sisters: no cascade touches a bar spacer.
template <>
Table<BarSpacer> table_of() {
  return Table<BarSpacer>("barspacer")
      .column("id", "INTEGER PRIMARY KEY AUTOINCREMENT")
      .column("mark", "TEXT", &BarSpacer::mark)
      .column("rev_id", "INTEGER", &BarSpacer::rev_id)
      .column("sheet_id", "INTEGER", &BarSpacer::sheet_id)
      .column("name", "TEXT", &BarSpacer::name)
      .column("quantity", "INTEGER", &BarSpacer::quantity)
      .column("weight_per_piece", "REAL", &BarSpacer::weight_per_piece)
      .column("description", "TEXT", &BarSpacer::description)
      .column("length", "REAL", &BarSpacer::length)
      .raw();
}

// No AUTOINCREMENT: the id of a deleted highest row can come back.
template <>
Table<EndTreatment> table_of() {
  return Table<EndTreatment>("end_treatment")
      .column("id", "INTEGER PRIMARY KEY")
      .column("type", "TEXT", &EndTreatment::type)
      .column("type_description", "TEXT", &EndTreatment::type_description)
      .column("manufacturer", "TEXT", &EndTreatment::manufacturer)
      .column("model", "TEXT", &EndTreatment::model)
      .column("diameter", "REAL", &EndTreatment::diameter)
      .column("comment", "TEXT", &EndTreatment::comment);
}

// SET NULL on a NOT NULL column is meant: it makes SQLite refuse to delete a catalogue entry in
// use. So in all tables below. Its double blank is part of the text.
template <>
Table<Rebar> table_of() {
  return Table<Rebar>("rebar")
      .column("id", "INTEGER PRIMARY KEY AUTOINCREMENT")
      .column("rev_id", "INTEGER NOT NULL", &Rebar::rev_id)
      .column("comment", "TEXT", &Rebar::comment)
      .column("member", "TEXT", &Rebar::member)
      .column("mark", "TEXT", &Rebar::mark)
      .column("submark", "TEXT", &Rebar::submark)
      .column("mark_suffix", "TEXT", &Rebar::mark_suffix)
      .column("mark_prefix", "TEXT", &Rebar::mark_prefix)
      .column("material_id", "INTEGER NOT NULL", &Rebar::material_id)  // nullable in the record
      .column("member_multiplier", "INTEGER", &Rebar::member_multiplier)
      .column("bars_per_member", "INTEGER", &Rebar::bars_per_member)
      .column("total_bars", "INTEGER", &Rebar::total_bars)
      .column("total_length", "REAL", &Rebar::total_length)
      .column("bar_diameter", "REAL", &Rebar::bar_diameter)
      .column("standard_bend_diameter", "REAL", &Rebar::standard_bend_diameter)
      .column("hook_bend_diameter", "REAL", &Rebar::hook_bend_diameter)
      .given("end_treatment_start", "INTEGER", &Given<Rebar>::end_treatment_start)
      .given("end_treatment_end", "INTEGER", &Given<Rebar>::end_treatment_end)
      .column("shape_code", "TEXT", &Rebar::shape_code)
      .letters("", &Rebar::parameters_exact)
      .letters("_rounded", &Rebar::parameters_rounded)
      // The two names differ from their fields on purpose.
      .column("bartype_name", "TEXT", &Rebar::bar_type_name)
      .column("bartype_mass_per_length", "REAL NOT NULL", &Rebar::bar_type_mass_per_length)
      .raw()
      .constraints(
          "FOREIGN KEY (rev_id) REFERENCES revision(id) ON UPDATE CASCADE ON DELETE CASCADE, "
          "FOREIGN KEY (end_treatment_start) REFERENCES end_treatment(id) ON UPDATE CASCADE "
          "ON DELETE  SET NULL, "
          "FOREIGN KEY (end_treatment_end) REFERENCES end_treatment(id) ON UPDATE CASCADE "
          "ON DELETE  SET NULL, "
          "FOREIGN KEY (material_id) REFERENCES material(id) ON UPDATE CASCADE "
          "ON DELETE  SET NULL");
}

template <>
Table<FabricType> table_of() {
  return Table<FabricType>("fabric_type")
      .column("id", "INTEGER PRIMARY KEY AUTOINCREMENT")
      .column("uid", "TEXT UNIQUE", &FabricType::uid)
      .column("type", "TEXT UNIQUE", &FabricType::type_name)
      .column("overall_length", "REAL", &FabricType::overall_length)
      .column("overall_width", "REAL", &FabricType::overall_width)
      .column("sheet_mass", "REAL", &FabricType::sheet_mass)
      // REAL: a text that reads as a number is stored as one. `raw` keeps the text.
      .column("description", "REAL", &FabricType::description)
      .column("material_id", "INTEGER NOT NULL", &FabricType::material, &Material::id)
      .column("is_list_fabric", "BOOLEAN",
              [](const FabricType& type) { return type.list_fabric.hasvalue(); })
      .raw()
      .constraints(
          "FOREIGN KEY (material_id) REFERENCES material(id) ON UPDATE CASCADE "
          "ON DELETE  SET NULL");
}

template <>
Table<Fabric> table_of() {
  return Table<Fabric>("fabric")
      .column("id", "INTEGER PRIMARY KEY AUTOINCREMENT")
      .column("rev_id", "INTEGER NOT NULL", &Fabric::rev_id)
      .column("comment", "TEXT", &Fabric::comment)
      .column("member", "TEXT", &Fabric::member)
      .column("mark", "TEXT", &Fabric::mark)
      .column("mark_suffix", "TEXT", &Fabric::mark_suffix)
      .column("mark_prefix", "TEXT", &Fabric::mark_prefix)
      .column("member_multiplier", "INTEGER", &Fabric::member_multiplier)
      // REAL where a bar's `bars_per_member` is INTEGER.
      .column("fabrics_per_member", "REAL", &Fabric::fabrics_per_member)
      .column("total_fabrics", "INTEGER", &Fabric::total_fabrics)
      .column("length", "REAL", &Fabric::length)
      .column("width", "REAL", &Fabric::width)
      .column("standard_bend_diameter", "REAL", &Fabric::standard_bend_diameter)
      .column("shape_code", "TEXT", &Fabric::shape_code)
      .column("fabric_weight", "REAL", &Fabric::fabric_weight)
      .letters("", &Fabric::parameters_exact)
      .letters("_rounded", &Fabric::parameters_rounded)
      .column("fabric_type_id", "INTEGER NOT NULL", &Fabric::fabric_type, &FabricType::id)
      .raw()
      .constraints(
          "FOREIGN KEY (rev_id) REFERENCES revision(id) ON UPDATE CASCADE ON DELETE CASCADE, "
          "FOREIGN KEY (fabric_type_id) REFERENCES fabric_type(id) ON UPDATE CASCADE "
          "ON DELETE  SET NULL");
}

template <>
Table<MountingPart> table_of() {
  return Table<MountingPart>("mountingpart")
      .column("id", "INTEGER PRIMARY KEY AUTOINCREMENT")
      .column("mark", "TEXT", &MountingPart::mark)
      .column("quantity", "INTEGER", &MountingPart::quantity)
      .column("material_id", "INTEGER NOT NULL", &MountingPart::material_id)
      .column("family_name", "TEXT", &MountingPart::family_name)
      .column("type_name", "TEXT", &MountingPart::type_name)
      .column("manufacturer", "TEXT", &MountingPart::manufacturer)
      .column("comment", "TEXT", &MountingPart::comment)
      .column("keynote", "TEXT", &MountingPart::keynote)
      .column("model", "TEXT", &MountingPart::model)
      .column("url", "TEXT", &MountingPart::url)
      .column("description", "TEXT", &MountingPart::description)
      .column("cost", "REAL", &MountingPart::cost)
      .column("order_number", "TEXT", &MountingPart::order_number)
      .column("catalog", "TEXT", &MountingPart::catalog)
      .column("rev_id", "INTEGER", &MountingPart::rev_id)
      .column("mark_prefix", "TEXT", &MountingPart::mark_prefix)
      .column("mark_suffix", "TEXT", &MountingPart::mark_suffix)
      .column("member", "TEXT", &MountingPart::member)
      .raw()
      .constraints(
          "FOREIGN KEY (rev_id) REFERENCES revision(id) ON UPDATE CASCADE ON DELETE CASCADE, "
          "FOREIGN KEY (material_id) REFERENCES material(id) ON UPDATE CASCADE "
          "ON DELETE  SET NULL");
}

}  // namespace korvane::model::tables
