#pragma once

#include <Poco/Data/Session.h>

#include "platform/project_rpc/table.h"

namespace korvane::model::cad {

/// Runs the client's SQL and appends its columns and rows to `reply`. Only the kind "sql:raw" is
/// served; another is logged at severity 2 and leaves `reply` as it was, which is no error. The
/// SQL stands in `params` under "query" as a `value_string`. It is not checked: an `update` or a
/// `drop` runs like a `select`, outside any transaction of the store's.
///
/// `INTEGER` columns are of kind `kInt32`, `REAL` `kDouble`, text and expressions `kString`, blobs
/// `kBlob`. Which member of a cell is set depends on its own value: a blob arrives as
/// `value_string`, NULL as a cell with no member set and a line at severity 2.
///
/// Throws std::runtime_error "No query or empty query", or "unsupported return type" for a column
/// of another type such as BOOLEAN (both logged at severity 2), the data layer's exception for SQL
/// that the database refuses, and Poco::RangeException for an integer beyond 32 bits. Columns and
/// rows appended before a failure stay in `reply`.
void query_table_impl(Poco::Data::Session& session, const table::GET_TABLE& request,
                      table::TABLE& reply);

}  // namespace korvane::model::cad
