#include "model/plugins/korvane.model.cad.project/schema.h"

#include <algorithm>
#include <utility>

#include "model/plugins/korvane.model.cad.project/prepared_statement.h"
#include "model/tables/tables.h"

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

SchemaBuilder project_schema() {
  SchemaBuilder schema;
  tables::for_each_table([&](const auto& table) {
    schema.table(table.name()).constraints(std::string(table.constraints()));
    for (const auto& column : table.columns()) {
      schema.column(column.name, std::string(column.type));
    }
  });
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
  for (const TableSpec& table : schema.tables()) run(session, create_table_sql(table));
}

void drop_tables(const SchemaBuilder& schema, Poco::Data::Session& session) {
  const std::vector<TableSpec>& tables = schema.tables();
  std::for_each(tables.rbegin(), tables.rend(), [&](const TableSpec& table) {
    run(session, "DROP TABLE IF EXISTS " + table.name);
  });
}

}  // namespace korvane::model::cad
