#include "model/plugins/korvane.model.cad.project/schema.h"

#include <algorithm>
#include <utility>

#include "model/plugins/korvane.model.cad.project/prepared_statement.h"

namespace korvane::model::cad {

SchemaBuilder& SchemaBuilder::table(std::string name) {
  tables_.push_back({{}, {}, std::move(name)});
  return *this;
}

SchemaBuilder& SchemaBuilder::column(std::string name, std::string type) {
  tables_.back().columns.push_back({std::move(name), std::move(type), false, {}, {}});
  return *this;
}

SchemaBuilder& SchemaBuilder::constraints(std::string text) {
  tables_.back().constraints = std::move(text);
  return *this;
}

namespace {

/// The letter columns of a bar or fabric, exact and then rounded.
void add_letters(SchemaBuilder& schema) {
  for (const char* suffix : {"", "_rounded"}) {
    for (const char* letter : {"A", "B", "C", "D", "E", "F", "R"}) {
      schema.column(std::string(letter) + suffix, "REAL");
    }
  }
}

}  // namespace

SchemaBuilder project_schema() {
  SchemaBuilder schema;
  schema.table("project").column("id", "INTEGER PRIMARY KEY AUTOINCREMENT").column("raw", "BLOB");

  schema.table("material")
      .column("id", "INTEGER PRIMARY KEY AUTOINCREMENT")
      .column("uid", "TEXT UNIQUE")
      .column("raw", "BLOB");

  schema.table("sheet")
      .column("id", "INTEGER PRIMARY KEY AUTOINCREMENT")
      .column("uid", "TEXT UNIQUE")
      .column("raw", "BLOB");

  schema.table("revision")
      .column("id", "INTEGER PRIMARY KEY AUTOINCREMENT")
      .column("uid", "TEXT UNIQUE")
      .column("sheet_id", "INTEGER")
      .column("raw", "BLOB")
      .constraints(
          "FOREIGN KEY (sheet_id) REFERENCES sheet(id) ON UPDATE CASCADE ON DELETE CASCADE");

  // No foreign key, unlike its three sisters: no cascade touches a bar spacer.
  schema.table("barspacer")
      .column("id", "INTEGER PRIMARY KEY AUTOINCREMENT")
      .column("mark", "TEXT")
      .column("rev_id", "INTEGER")
      .column("sheet_id", "INTEGER")
      .column("name", "TEXT")
      .column("quantity", "INTEGER")
      .column("weight_per_piece", "REAL")
      .column("description", "TEXT")
      .column("length", "REAL")
      .column("raw", "BLOB");

  // No AUTOINCREMENT: the id of a deleted highest row can come back.
  schema.table("end_treatment")
      .column("id", "INTEGER PRIMARY KEY")
      .column("type", "TEXT")
      .column("type_description", "TEXT")
      .column("manufacturer", "TEXT")
      .column("model", "TEXT")
      .column("diameter", "REAL")
      .column("comment", "TEXT");

  // SET NULL on a NOT NULL column is meant: it makes SQLite refuse the deletion of a catalogue row
  // in use. Here and below.
  schema.table("rebar")
      .column("id", "INTEGER PRIMARY KEY AUTOINCREMENT")
      .column("rev_id", "INTEGER NOT NULL")
      .column("comment", "TEXT")
      .column("member", "TEXT")
      .column("mark", "TEXT")
      .column("submark", "TEXT")
      .column("mark_suffix", "TEXT")
      .column("mark_prefix", "TEXT")
      .column("material_id", "INTEGER NOT NULL")
      .column("member_multiplier", "INTEGER")
      .column("bars_per_member", "INTEGER")
      .column("total_bars", "INTEGER")
      .column("total_length", "REAL")
      .column("bar_diameter", "REAL")
      .column("standard_bend_diameter", "REAL")
      .column("hook_bend_diameter", "REAL")
      .column("end_treatment_start", "INTEGER")
      .column("end_treatment_end", "INTEGER")
      .column("shape_code", "TEXT");
  add_letters(schema);
  schema.column("bartype_name", "TEXT")
      .column("bartype_mass_per_length", "REAL NOT NULL")
      .column("raw", "BLOB")
      .constraints(
          "FOREIGN KEY (rev_id) REFERENCES revision(id) ON UPDATE CASCADE ON DELETE CASCADE, "
          "FOREIGN KEY (end_treatment_start) REFERENCES end_treatment(id) ON UPDATE CASCADE "
          "ON DELETE  SET NULL, "
          "FOREIGN KEY (end_treatment_end) REFERENCES end_treatment(id) ON UPDATE CASCADE "
          "ON DELETE  SET NULL, "
          "FOREIGN KEY (material_id) REFERENCES material(id) ON UPDATE CASCADE "
          "ON DELETE  SET NULL");

  // `description` is declared REAL: a text that reads as a number is stored as one. `raw` keeps it.
  schema.table("fabric_type")
      .column("id", "INTEGER PRIMARY KEY AUTOINCREMENT")
      .column("uid", "TEXT UNIQUE")
      .column("type", "TEXT UNIQUE")
      .column("overall_length", "REAL")
      .column("overall_width", "REAL")
      .column("sheet_mass", "REAL")
      .column("description", "REAL")
      .column("material_id", "INTEGER NOT NULL")
      .column("is_list_fabric", "BOOLEAN")
      .column("raw", "BLOB")
      .constraints(
          "FOREIGN KEY (material_id) REFERENCES material(id) ON UPDATE CASCADE "
          "ON DELETE  SET NULL");

  // `fabrics_per_member` is REAL where a bar's `bars_per_member` is INTEGER.
  schema.table("fabric")
      .column("id", "INTEGER PRIMARY KEY AUTOINCREMENT")
      .column("rev_id", "INTEGER NOT NULL")
      .column("comment", "TEXT")
      .column("member", "TEXT")
      .column("mark", "TEXT")
      .column("mark_suffix", "TEXT")
      .column("mark_prefix", "TEXT")
      .column("member_multiplier", "INTEGER")
      .column("fabrics_per_member", "REAL")
      .column("total_fabrics", "INTEGER")
      .column("length", "REAL")
      .column("width", "REAL")
      .column("standard_bend_diameter", "REAL")
      .column("shape_code", "TEXT")
      .column("fabric_weight", "REAL");
  add_letters(schema);
  schema.column("fabric_type_id", "INTEGER NOT NULL")
      .column("raw", "BLOB")
      .constraints(
          "FOREIGN KEY (rev_id) REFERENCES revision(id) ON UPDATE CASCADE ON DELETE CASCADE, "
          "FOREIGN KEY (fabric_type_id) REFERENCES fabric_type(id) ON UPDATE CASCADE "
          "ON DELETE  SET NULL");

  schema.table("mountingpart")
      .column("id", "INTEGER PRIMARY KEY AUTOINCREMENT")
      .column("mark", "TEXT")
      .column("quantity", "INTEGER")
      .column("material_id", "INTEGER NOT NULL")
      .column("family_name", "TEXT")
      .column("type_name", "TEXT")
      .column("manufacturer", "TEXT")
      .column("comment", "TEXT")
      .column("keynote", "TEXT")
      .column("model", "TEXT")
      .column("url", "TEXT")
      .column("description", "TEXT")
      .column("cost", "REAL")
      .column("order_number", "TEXT")
      .column("catalog", "TEXT")
      .column("rev_id", "INTEGER")
      .column("mark_prefix", "TEXT")
      .column("mark_suffix", "TEXT")
      .column("member", "TEXT")
      .column("raw", "BLOB")
      .constraints(
          "FOREIGN KEY (rev_id) REFERENCES revision(id) ON UPDATE CASCADE ON DELETE CASCADE, "
          "FOREIGN KEY (material_id) REFERENCES material(id) ON UPDATE CASCADE "
          "ON DELETE  SET NULL");
  return schema;
}

std::string create_table_sql(const TableSpec& table) {
  std::string sql = "CREATE TABLE " + table.name + " (";
  std::string keys;
  const char* separator = "";
  for (const ColumnSpec& column : table.columns) {
    sql += separator + column.name + " " + column.type;
    separator = ",";
    if (!column.references) continue;
    if (!keys.empty()) keys += ",";
    keys += "FOREIGN KEY (" + column.name + ") REFERENCES " + column.ref_table + "(" +
            column.ref_column + ")";
  }
  if (!table.constraints.empty()) sql += ", " + table.constraints + " ";
  if (!keys.empty()) sql += ", " + keys;
  return sql + ")";
}

bool has_tables(Poco::Data::Session& session) {
  return PreparedStatement(session, "select 1 from sqlite_master where type = 'table'").step();
}

void create_tables(const SchemaBuilder& schema, Poco::Data::Session& session) {
  drop_tables(schema, session);
  for (const TableSpec& table : schema.tables())
    PreparedStatement(session, create_table_sql(table)).run();
}

void drop_tables(const SchemaBuilder& schema, Poco::Data::Session& session) {
  const std::vector<TableSpec>& tables = schema.tables();
  std::for_each(tables.rbegin(), tables.rend(), [&](const TableSpec& table) {
    PreparedStatement(session, "DROP TABLE IF EXISTS " + table.name).run();
  });
}

}  // namespace korvane::model::cad
