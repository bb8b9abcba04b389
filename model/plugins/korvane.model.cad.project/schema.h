#pragma once

#include <string>
#include <vector>

#include <Poco/Data/Session.h>

namespace korvane::model::cad {

/// One column of a table that is to be made.
struct ColumnSpec {
  std::string name;
  /// All that follows the name in the declaration, pasted as it stands, key words included.
  std::string type;
  /// Whether the column renders a foreign key clause of its own, to `ref_table(ref_column)`.
  bool references = false;
  std::string ref_table;
  std::string ref_column;
};

struct TableSpec {
  /// Table constraints as one ready text, or empty.
  std::string constraints;
  std::vector<ColumnSpec> columns;
  std::string name;
};

/// An ordered sequence of tables, built by chaining.
class SchemaBuilder {
 public:
  SchemaBuilder& table(std::string name);
  /// Adds a column to the last table.
  SchemaBuilder& column(std::string name, std::string type);
  /// Sets the constraint text of the last table.
  SchemaBuilder& constraints(std::string text);

  const std::vector<TableSpec>& tables() const { return tables_; }

 private:
  std::vector<TableSpec> tables_;
};

/// The ten tables of a project file, parents before their children: those of `model/tables`.
SchemaBuilder project_schema();

/// The statement that makes `table`.
std::string create_table_sql(const TableSpec& table);

/// Whether the session's database holds any table at all.
bool has_tables(Poco::Data::Session& session);

/// Drops each table of `schema` that exists, then makes all of them, empty. Opens no
/// transaction. Throws what the data layer throws; Poco::Data::NotConnectedException without a
/// connection.
void create_tables(const SchemaBuilder& schema, Poco::Data::Session& session);

/// Drops the tables of `schema` that exist, from the last to the first, so that no foreign key
/// action fires on the way.
void drop_tables(const SchemaBuilder& schema, Poco::Data::Session& session);

}  // namespace korvane::model::cad
