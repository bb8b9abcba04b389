#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "contracts/common/variant.h"

namespace korvane::model::table {

/// The request of the table queries. Only the kind "sql:raw" is served, and of `params` only
/// the text under "query" is read.
struct GET_TABLE {
  std::string kind;
  Properties params;

  bool operator==(const GET_TABLE&) const = default;
};

/// One column of a result.
struct TableColumn {
  std::string name;
  /// The number of a `VariantKind`.
  std::int32_t kind = 1;

  bool operator==(const TableColumn&) const = default;
};

/// The reply of `query_table`: cells stand in column order, and a NULL is a cell with no member
/// set.
struct TABLE {
  std::vector<TableColumn> columns;
  std::vector<std::vector<Variant>> rows;

  bool operator==(const TABLE&) const = default;
};

}  // namespace korvane::model::table
