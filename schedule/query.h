#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/project_rpc/project_service.h"

namespace korvane::schedule {

/// Runs one SQL statement over the columns of a project. Throws what `query_table` throws.
model::table::TABLE query(model::cad::Project_Service& project, const std::string& sql);

/// The value of a cell, from a column or an expression. 0 for a cell without one.
std::int64_t integer_in(const Variant& cell);
double number_in(const Variant& cell);

/// `text` as a literal of SQL. A text with a zero byte ends there.
std::string sql_text(std::string_view text);

/// `bytes` as a literal of SQL: x'0A00'.
std::string sql_blob(std::string_view bytes);

}  // namespace korvane::schedule
