#include "sqlite/relation_check.h"

#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "model/tables/tables.h"
#include "sqlite/cell.h"

namespace korvane::sqlite {

namespace {

namespace tables = model::tables;

bool contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

Kind kind_of(const std::string& line) {
  if (contains(line, "missing from index") || contains(line, "# of entries in index")) {
    return Kind::index;
  }
  if (contains(line, "non-unique entry") || contains(line, " value in ")) return Kind::constraint;
  return Kind::pages;
}

void tell(FindingList& findings, Kind kind, const std::string& table, std::string text) {
  Finding finding;
  finding.kind = kind;
  finding.table = table;
  finding.text = std::move(text);
  findings.add(std::move(finding));
}

/// Whether SQLite cannot compute what the file's own declarations say: by a function or an order of
/// texts that only another program knows, or a value longer than any of the file.
bool is_of_declaration(const DatabaseError& failure) {
  const int code = failure.code() & 0xFF;
  return code == SQLITE_ERROR || code == SQLITE_TOOBIG;
}

/// Calls `read`, which may come to where the file is damaged.
void read_damaged(FindingList& findings, const std::function<void()>& read) {
  try {
    read();
  } catch (const DatabaseError& failure) {
    if (failure.code() == SQLITE_INTERRUPT) throw;
    tell(findings, Kind::pages, "", sqlite3_errstr(failure.code()));
  }
}

bool is_of_a_project(const std::string& name) {
  bool is_ours = false;
  tables::for_each_table([&](const auto& table) { is_ours = is_ours || table.name() == name; });
  return is_ours;
}

bool has_columns(const FoundTables& found, const std::string& table,
                 const std::vector<std::string>& columns) {
  const auto there = found.find(table);
  if (there == found.end()) return false;
  for (const std::string& column : columns) {
    if (there->second.count(column) == 0) return false;
  }
  return true;
}

std::string number(const Statement& statement, int column) {
  return literal_of(cell_at(statement, column));
}

void check_foreign_keys(const Database& database, FindingList& findings) {
  Statement broken(
      database,
      "select broken.\"table\", broken.rowid, broken.parent, keys.\"from\" "
      "from pragma_foreign_key_check as broken "
      "join pragma_foreign_key_list(broken.\"table\") as keys on keys.id = broken.fkid");
  while (broken.next()) {
    Finding finding;
    finding.kind = Kind::foreign_key;
    finding.table = broken.text(0);
    if (!broken.is_null(1)) finding.row = broken.integer(1);
    finding.column = broken.text(3);
    finding.text = finding.table + " " + number(broken, 1) + ": " + finding.column +
                   " refers to a row of " + std::string(broken.text(2)) + " that is not there";
    findings.add(std::move(finding));
  }
}

void check_orphans(const Database& database, const FoundTables& found, FindingList& findings) {
  if (!has_columns(found, "barspacer", {"rev_id"}) || !has_columns(found, "revision", {"id"})) {
    return;
  }
  Statement orphans(database,
                    "select rev_id, count(*) from barspacer where rev_id is null or "
                    "rev_id not in (select id from revision) group by rev_id");
  while (orphans.next()) {
    Finding finding;
    finding.kind = Kind::orphan_bar_spacers;
    finding.table = "barspacer";
    finding.column = "rev_id";
    finding.found = number(orphans, 0);
    finding.text = "barspacer: rows of revision " + finding.found +
                   ", which is not there: " + number(orphans, 1);
    findings.add(std::move(finding));
  }
}

void check_treatments(const Database& database, const FoundTables& found, FindingList& findings) {
  const auto table = tables::table_of<model::cad::EndTreatment>();
  std::vector<std::string> columns;
  std::string names;
  table.for_each_inserted([&](const auto& column) {
    columns.push_back(column.name);
    names += (names.empty() ? "" : ", ") + column.name;
  });
  if (!has_columns(found, table.name(), columns)) return;
  // Without a diameter no row equals another: the store makes one for each bar.
  Statement equal(database,
                  "select min(id), group_concat(id, ', ') from end_treatment "
                  "where diameter is not null group by " +
                      names + " having count(*) > 1");
  while (equal.next()) {
    Finding finding;
    finding.kind = Kind::equal_treatments;
    finding.table = "end_treatment";
    finding.row = equal.integer(0);
    finding.text = "end_treatment: the rows " + std::string(equal.text(1)) + " are equal";
    findings.add(std::move(finding));
  }
  if (!has_columns(found, "rebar", {"end_treatment_start", "end_treatment_end"})) return;
  Statement unused(
      database,
      "select count(*) from end_treatment where id not in "
      "(select end_treatment_start from rebar where end_treatment_start is not null "
      "union select end_treatment_end from rebar where end_treatment_end is not null)");
  if (unused.next() && unused.integer(0) != 0) {
    tell(findings, Kind::unused_treatments, "end_treatment",
         "end_treatment: rows that no bar has: " + number(unused, 0));
  }
}

/// Tells nothing if SQLite cannot begin it, and what it has found where it cannot go on. Throws
/// DatabaseError.
void tell_integrity(const Database& database, const std::string& pragma, FindingList& findings) {
  Statement check(database, pragma);
  while (check.next()) {
    std::istringstream lines{std::string(check.text(0))};
    for (std::string line; std::getline(lines, line);) {
      if (line == "ok" || line.starts_with("***")) continue;
      tell(findings, kind_of(line), "", "SQLite: " + line);
    }
  }
}

/// For a file of which SQLite cannot check all: a table that another program has made, or an index
/// on one of ours, may have a function or an order of texts that only that program knows.
void check_each_table(const Database& database, FindingList& findings) {
  std::vector<std::string> names;
  Statement tables(database, "select name from main.sqlite_schema where type = 'table'");
  while (tables.next()) names.emplace_back(tables.text(0));
  for (const std::string& name : names) {
    try {
      tell_integrity(database, "pragma main.integrity_check(" + quoted_name(name) + ")", findings);
    } catch (const DatabaseError& failure) {
      if (!is_of_declaration(failure)) throw;
      tell(findings, is_of_a_project(name) ? Kind::declaration : Kind::not_ours, name,
           "the table " + name + " cannot be checked: " + sqlite3_errmsg(database.handle()));
    }
  }
}

}  // namespace

void check_integrity(const Database& database, FindingList& findings) {
  read_damaged(findings, [&] {
    try {
      tell_integrity(database, "pragma main.integrity_check(100)", findings);
    } catch (const DatabaseError& failure) {
      if (!is_of_declaration(failure)) throw;
      check_each_table(database, findings);
    }
  });
}

void require_pages(const Database& database) {
  FindingList findings;
  check_integrity(database, findings);
  for (const Finding& finding : findings.listed()) {
    if (finding.kind != Kind::pages) continue;
    throw std::runtime_error("\"" + database.filename() + "\" has damage: " + finding.text);
  }
}

void check_relations(const Database& database, const FoundTables& found, FindingList& findings) {
  read_damaged(findings, [&] { check_foreign_keys(database, findings); });
  read_damaged(findings, [&] { check_orphans(database, found, findings); });
  read_damaged(findings, [&] { check_treatments(database, found, findings); });
}

}  // namespace korvane::sqlite
