#include "sqlite/schema_check.h"

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <vector>

#include "model/tables/tables.h"
#include "sqlite/indexes.h"
#include "sqlite/joined.h"

namespace korvane::sqlite {

namespace {

namespace tables = model::tables;

/// What a table is, in words that can be compared.
struct Shape {
  std::vector<std::pair<std::string, std::string>> columns;
  std::set<std::string> constraints;

  const std::string* declaration_of(const std::string& name) const {
    const auto found = std::find_if(columns.begin(), columns.end(),
                                    [&](const auto& column) { return column.first == name; });
    return found == columns.end() ? nullptr : &found->second;
  }
};

void read_columns(const Database& database, const std::string& table, Shape& shape) {
  Statement columns(database,
                    "select name, type, \"notnull\", pk, dflt_value, hidden "
                    "from pragma_table_xinfo(?)");
  columns.bind(1, std::string_view(table));
  while (columns.next()) {
    std::string declaration(columns.text(1));
    if (columns.integer(2) != 0) declaration += " NOT NULL";
    if (columns.integer(3) != 0) declaration += " PRIMARY KEY";
    if (!columns.is_null(4)) declaration += " DEFAULT " + std::string(columns.text(4));
    if (columns.integer(5) != 0) declaration += " GENERATED";
    shape.columns.emplace_back(columns.text(0), std::move(declaration));
  }
}

void read_constraints(const Database& database, const std::string& table, Shape& shape) {
  Statement unique(database,
                   "select (select group_concat(name, ', ') from pragma_index_info(list.name)) "
                   "from pragma_index_list(?) as list where origin = 'u'");
  unique.bind(1, std::string_view(table));
  while (unique.next()) shape.constraints.insert("UNIQUE (" + std::string(unique.text(0)) + ")");
  Statement keys(database,
                 "select 'FOREIGN KEY (' || \"from\" || ') REFERENCES ' || \"table\" || '(' || "
                 "\"to\" || ') ON UPDATE ' || on_update || ' ON DELETE ' || on_delete "
                 "from pragma_foreign_key_list(?)");
  keys.bind(1, std::string_view(table));
  while (keys.next()) shape.constraints.emplace(keys.text(0));
  Statement counter(database,
                    "select 1 from sqlite_schema where type = 'table' and name = ? "
                    "and sql like '%AUTOINCREMENT%'");
  counter.bind(1, std::string_view(table));
  if (counter.next()) shape.constraints.insert("AUTOINCREMENT");
}

/// Empty of a table that is not there.
Shape shape_of(const Database& database, const std::string& table) {
  Shape shape;
  read_columns(database, table, shape);
  read_constraints(database, table, shape);
  return shape;
}

bool has_table(const Database& database, const std::string& table) {
  // Not a virtual one, which another program's code reads and writes.
  Statement found(database,
                  "select 1 from pragma_table_list(?) where schema = 'main' and type <> 'virtual' "
                  "and exists (select 1 from sqlite_schema as s where s.type = 'table' "
                  "and s.name = ?1)");
  found.bind(1, std::string_view(table));
  return found.next();
}

Finding schema_finding(Kind kind, const std::string& table, const std::string& column,
                       std::string text) {
  Finding finding;
  finding.kind = kind;
  finding.table = table;
  finding.column = column;
  finding.text = std::move(text);
  return finding;
}

/// The columns that can be read as they are meant.
std::set<std::string> compare(const std::string& table, const Shape& wanted, const Shape& found,
                              FindingList& findings) {
  std::set<std::string> usable;
  const std::string place = "table " + table + ": ";
  for (const auto& [name, declaration] : wanted.columns) {
    const std::string* const there = found.declaration_of(name);
    if (there == nullptr) {
      findings.add(schema_finding(Kind::missing_column, table, name,
                                  joined({place, "the column ", name, " is missing"})));
      continue;
    }
    usable.insert(name);
    if (*there == declaration) continue;
    Finding finding = schema_finding(Kind::declaration, table, name,
                                     joined({place, "the column ", name, " is declared \"", *there,
                                             "\", expected \"", declaration, "\""}));
    finding.found = *there;
    finding.expected = declaration;
    findings.add(std::move(finding));
  }
  for (const auto& [name, declaration] : found.columns) {
    if (wanted.declaration_of(name) != nullptr) continue;
    findings.add(schema_finding(Kind::not_ours, table, name,
                                joined({place, "the column ", name, " is not a project's"})));
  }
  for (const std::string& constraint : wanted.constraints) {
    if (found.constraints.count(constraint) != 0) continue;
    findings.add(
        schema_finding(Kind::declaration, table, "", joined({place, "lacks ", constraint})));
  }
  for (const std::string& constraint : found.constraints) {
    if (wanted.constraints.count(constraint) != 0) continue;
    findings.add(
        schema_finding(Kind::not_ours, table, "", joined({place, "has also ", constraint})));
  }
  return usable;
}

/// Made by a server (host/service/kept_answers.h).
constexpr std::string_view kAnswersTable = "korvane_answers";

void note_what_is_not_ours(const Database& database, const std::set<std::string>& ours,
                           FindingList& findings) {
  Statement all(database,
                "select type, name, tbl_name from sqlite_schema "
                "where name not like 'sqlite\\_%' escape '\\' order by rowid");
  while (all.next()) {
    const std::string type(all.text(0));
    const std::string name(all.text(1));
    if (type == "table" && ours.count(name) != 0) continue;
    if (type == "index" && name.starts_with(kIndexPrefix)) continue;  // note_indexes
    if (type == "index" && all.text(2) == kAnswersTable) continue;
    if (type == "table" && name == kAnswersTable) {
      findings.add(schema_finding(Kind::not_ours, name, "",
                                  joined({"the table ", name,
                                          " keeps a server's answers to writes with a key, for a "
                                          "day"})));
      continue;
    }
    findings.add(schema_finding(Kind::not_ours, std::string(all.text(2)), "",
                                joined({"the ", type, " ", name, " is not a project's"})));
  }
}

}  // namespace

void make_tables(Database& database) {
  tables::for_each_table([&](const auto& table) {
    std::string sql = "CREATE TABLE " + table.name() + " (";
    for (const auto& column : table.columns()) {
      sql += (&column == &table.columns().front() ? "" : ",") + column.name + " " +
             std::string(column.type);
    }
    if (!table.constraints().empty()) sql += ", " + std::string(table.constraints());
    database.run(sql + ")");
  });
}

FoundTables check_schema(const Database& database, FindingList& findings) {
  Database wanted("a project", Database::Access::memory);
  make_tables(wanted);
  std::set<std::string> ours;
  FoundTables found;
  std::vector<std::string> missing;
  tables::for_each_table([&](const auto& table) {
    ours.insert(table.name());
    if (!has_table(database, table.name())) {
      missing.push_back(table.name());
      return;
    }
    found[table.name()] = compare(table.name(), shape_of(wanted, table.name()),
                                  shape_of(database, table.name()), findings);
  });
  if (found.empty()) {
    findings.add(
        schema_finding(Kind::not_a_project, "", "", "a database without a project's tables"));
    return found;
  }
  for (const std::string& table : missing) {
    findings.add(
        schema_finding(Kind::missing_table, table, "", "the table " + table + " is missing"));
  }
  note_what_is_not_ours(database, ours, findings);
  note_indexes(find_indexes(database), findings);
  return found;
}

void require_project(const Database& database) {
  FindingList findings;
  check_schema(database, findings);
  for (const Finding& finding : findings.listed()) {
    if (finding.severity() != Severity::damage) continue;
    throw NotAProject("\"" + database.filename() + "\" is not a korvane project: " + finding.text);
  }
}

}  // namespace korvane::sqlite
