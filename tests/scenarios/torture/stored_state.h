#pragma once

#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>

#include "tests/support/plain_sqlite.h"

namespace korvane::test {

/// All that a project file holds, table by table.
struct StoredState {
  std::map<std::string, Rows> tables;

  bool operator==(const StoredState&) const = default;
};

/// The state of a file, empty if it does not exist. Throws std::runtime_error when plain SQLite
/// finds the file damaged, or rows that refer to missing ones.
inline StoredState stored_state(const std::string& file) {
  StoredState state{{{"sqlite_master", {}}}};
  if (!std::filesystem::exists(file)) return state;
  // Only a connection that may write can roll a leftover journal back.
  PlainConnection connection(file, PlainConnection::Mode::kWrite);
  const Rows integrity = connection.rows("PRAGMA integrity_check");
  if (integrity != Rows{{"ok"}}) throw std::runtime_error("damaged: " + integrity[0][0].value());
  const Rows orphans = connection.rows("PRAGMA foreign_key_check");
  if (!orphans.empty()) throw std::runtime_error("orphans in " + orphans[0][0].value());
  state.tables["sqlite_master"] =
      connection.rows("select type, name, tbl_name, sql from sqlite_master order by name");
  for (const Row& table : connection.rows("select name from sqlite_master where type = 'table'")) {
    state.tables[*table[0]] = connection.rows("select rowid, * from " + *table[0]);
  }
  return state;
}

/// Names the tables that differ, for the message of a failure.
inline std::string difference(const StoredState& found, const StoredState& expected) {
  std::string text;
  for (const auto& [table, rows] : expected.tables) {
    const auto other = found.tables.find(table);
    if (other == found.tables.end()) {
      text += table + " is missing; ";
    } else if (other->second != rows) {
      text += table + " has " + std::to_string(other->second.size()) + " rows for " +
              std::to_string(rows.size()) + "; ";
    }
  }
  if (found.tables.size() > expected.tables.size()) text += "tables that should not be there";
  return text.empty() ? "no difference" : text;
}

}  // namespace korvane::test
