#pragma once

#include <map>
#include <string>

#include "model/tables/value.h"
#include "sqlite/cell.h"

namespace korvane::sqlite {

/// What becomes of a value in a column: its declaration may turn a text that reads as a number into
/// one. Asks SQLite itself, with tables of the connection's own. The database must outlive it.
class StoredForm {
 public:
  explicit StoredForm(const Database& database) : database_(database) {}

  /// As it is stored in a column of the declaration `declared`.
  Cell of(const std::string& declared, const model::tables::Value& value);

 private:
  const Database& database_;
  /// Tables of one column, by its type.
  std::map<std::string, std::string> tables_;
};

}  // namespace korvane::sqlite
