#include "sqlite/indexes.h"

#include <algorithm>
#include <set>
#include <utility>

#include "model/tables/tables.h"
#include "sqlite/schema_check.h"

namespace korvane::sqlite {

namespace {

namespace tables = model::tables;

/// By this a line belongs to its revision, also where no foreign key says so.
constexpr std::string_view kRevisionColumn = "rev_id";

std::set<std::string> foreign_key_columns(const Database& database, const std::string& table) {
  Statement keys(database, "select \"from\" from pragma_foreign_key_list(?)");
  keys.bind(1, std::string_view(table));
  std::set<std::string> columns;
  while (keys.next()) columns.emplace(keys.text(0));
  return columns;
}

Index index_of(const std::string& table, std::vector<std::string> columns,
               const std::string& where) {
  Index index;
  index.name = std::string(kIndexPrefix) + table;
  std::string list;
  for (const std::string& column : columns) {
    index.name += "_" + column;
    list += (list.empty() ? "" : ", ") + column;
  }
  index.table = table;
  index.columns = std::move(columns);
  index.sql = "CREATE INDEX " + index.name + " ON " + table + " (" + list + ")" + where;
  return index;
}

template <class T>
void add_references(const Database& database, const tables::Table<T>& table,
                    std::vector<Index>& indexes) {
  const std::set<std::string> keys = foreign_key_columns(database, table.name());
  for (const auto& column : table.columns()) {
    if (column.name != kRevisionColumn && keys.count(column.name) == 0) continue;
    const bool may_be_null = column.type.find("NOT NULL") == std::string_view::npos;
    indexes.push_back(index_of(table.name(), {column.name},
                               may_be_null ? " WHERE " + column.name + " IS NOT NULL" : ""));
  }
}

void add_treatments(const tables::Table<model::cad::EndTreatment>& table,
                    std::vector<Index>& indexes) {
  std::vector<std::string> columns;
  table.for_each_inserted([&](const auto& column) { columns.push_back(column.name); });
  indexes.push_back(index_of(table.name(), std::move(columns), ""));
}

void note(FindingList& findings, Kind kind, const std::string& table, std::string text) {
  Finding finding;
  finding.kind = kind;
  finding.table = table;
  finding.text = std::move(text);
  findings.add(std::move(finding));
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

}  // namespace

std::vector<Index> project_indexes() {
  Database plain("a project", Database::Access::memory);
  make_tables(plain);
  std::vector<Index> indexes;
  tables::for_each_table([&](const auto& table) {
    using T = std::decay_t<decltype(table)>;
    if constexpr (std::is_same_v<T, tables::Table<model::cad::EndTreatment>>) {
      add_treatments(table, indexes);
    } else {
      add_references(plain, table, indexes);
    }
  });
  return indexes;
}

FoundIndexes find_indexes(const Database& database) {
  FoundIndexes found;
  found.missing = project_indexes();
  Statement ours(database,
                 "select name, sql from main.sqlite_schema where type = 'index' "
                 "and substr(name, 1, length(?1)) = ?1 order by rowid");
  ours.bind(1, kIndexPrefix);
  while (ours.next()) {
    const auto index = std::find_if(
        found.missing.begin(), found.missing.end(),
        [&](const Index& each) { return each.name == ours.text(0) && each.sql == ours.text(1); });
    (index == found.missing.end() ? found.others : found.there).emplace_back(ours.text(0));
    if (index != found.missing.end()) found.missing.erase(index);
  }
  return found;
}

void note_indexes(const FoundIndexes& found, FindingList& findings) {
  for (const std::string& other : found.others) {
    note(findings, Kind::not_ours, "",
         "the index " + other + " is not one that this version's `korvane optimize` makes");
  }
  if (found.there.empty()) return;
  note(findings, Kind::optimized, "",
       "`korvane optimize` has added " + std::to_string(found.there.size()) +
           " indexes: " + joined(found.there));
  for (const Index& index : found.missing) {
    note(findings, Kind::index_missing, index.table,
         "the index " + index.name + " is missing beside the others; `korvane optimize` adds it");
  }
}

}  // namespace korvane::sqlite
