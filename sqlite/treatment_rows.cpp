#include "sqlite/treatment_rows.h"

#include <string>
#include <utility>

namespace korvane::sqlite {

namespace {

using model::cad::EndTreatment;

}  // namespace

void TreatmentRows::read(const Database& database, const FoundTables& found) {
  const auto columns = found.find(table_.name());
  if (columns == found.end() || columns->second.size() < table_.columns().size()) return;
  std::string sql = "select id";
  table_.for_each_inserted([&](const auto& column) { sql += ", \"" + column.name + "\""; });
  Statement rows(database, sql + " from " + table_.name());
  while (rows.next()) {
    std::vector<Cell> cells;
    for (int i = 1; i < rows.column_count(); ++i) cells.push_back(cell_at(rows, i));
    rows_.emplace(rows.integer(0), std::move(cells));
  }
}

bool TreatmentRows::has(std::int64_t id, const EndTreatment& treatment) const {
  const auto row = rows_.find(id);
  if (row == rows_.end()) return false;
  bool is_equal = true;
  std::size_t i = 0;
  table_.for_each_inserted([&](const auto& column) {
    is_equal = is_equal && is_same(view_of(row->second[i++]), column.value(treatment, {}));
  });
  return is_equal;
}

}  // namespace korvane::sqlite
