#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "contracts/cad/end_treatment.h"
#include "contracts/cad/revision.h"
#include "contracts/cad/sheet.h"
#include "sqlite/cell.h"
#include "sqlite/finding.h"
#include "sqlite/schema_check.h"

namespace korvane::sqlite {

/// A column that would say what its record says.
struct ColumnMend {
  std::string table;
  std::int64_t row = 0;
  std::string column;
  Cell before;
  Cell after;
};

/// A bar that would have the row of its end treatment.
struct TreatmentMend {
  std::int64_t bar = 0;
  std::string column;
  Cell before;
  /// None for a bar without that treatment.
  std::optional<model::cad::EndTreatment> treatment;
};

/// What could be written without loss: only where `raw` is all that the columns are made of, so
/// where it is whole, has nothing that this version does not know, and says the revision that its
/// row belongs to.
struct Mends {
  std::vector<ColumnMend> columns;
  std::vector<TreatmentMend> treatments;
};

/// What was seen in the rows.
struct RowsSeen {
  /// Rows of all tables.
  std::size_t count = 0;
  /// Those that can be decoded, by id, with `id` and `uid` of their rows; a revision with the sheet
  /// that its row says, 0 for none.
  std::vector<model::cad::Sheet> sheets;
  std::vector<model::cad::Revision> revisions;
};

/// Reads every row of the tables and compares it with its record. `mends` may be null. Throws
/// nothing for what is wrong with a row; a table that cannot be read further is a finding.
RowsSeen check_rows(const Database& database, const FoundTables& found, FindingList& findings,
                    Mends* mends);

}  // namespace korvane::sqlite
