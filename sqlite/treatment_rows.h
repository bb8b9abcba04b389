#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "contracts/cad/end_treatment.h"
#include "model/tables/tables.h"
#include "sqlite/cell.h"
#include "sqlite/schema_check.h"

namespace korvane::sqlite {

/// The rows of `end_treatment`, in memory.
class TreatmentRows {
 public:
  /// Reads them all; none if the table lacks a column. Throws DatabaseError.
  void read(const Database& database, const FoundTables& found);

  std::size_t count() const { return rows_.size(); }
  bool has(std::int64_t id) const { return rows_.count(id) != 0; }
  /// Whether the row is that of the treatment: equal in all that has a column.
  bool has(std::int64_t id, const model::cad::EndTreatment& treatment) const;

 private:
  const model::tables::Table<model::cad::EndTreatment> table_ =
      model::tables::table_of<model::cad::EndTreatment>();
  /// The values of the columns after the id.
  std::map<std::int64_t, std::vector<Cell>> rows_;
};

}  // namespace korvane::sqlite
