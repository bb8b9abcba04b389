#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "model/tables/value.h"
#include "sqlite/database.h"

namespace korvane::sqlite {

/// Bytes of a blob.
struct Blob {
  std::string bytes;
  bool operator==(const Blob&) const = default;
};

/// A value as SQLite has it, of its five kinds.
using Cell = std::variant<std::monostate, std::int64_t, double, std::string, Blob>;

/// A value of the statement's current row.
Cell cell_at(const Statement& statement, int column);

void bind_cell(Statement& statement, int parameter, const Cell& cell);
void bind_cell(Statement& statement, int parameter, const model::tables::Value& value);

/// The same, not copied: valid as long as its owner, or until the statement's next row.
using CellView =
    std::variant<std::monostate, std::int64_t, double, std::string_view, model::tables::Bytes>;
CellView view_at(const Statement& statement, int column);
CellView view_of(const Cell& cell);

/// Whether SQLite has in its row what the description of the table says, before it gave the value
/// the form that the column's declaration asks for: no number that is none is NULL, and a whole
/// number in a column of real ones is real.
bool is_same(const CellView& stored, const model::tables::Value& value);

/// As a literal of SQL, so that NULL, 5 and '5' differ; cut after some 60 characters.
std::string literal_of(const Cell& cell);

}  // namespace korvane::sqlite
