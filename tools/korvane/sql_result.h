#pragma once

#include <cstddef>

#include "platform/project_rpc/project_service.h"
#include "schedule/table.h"
#include "sqlite/database.h"
#include "tools/korvane/output_options.h"

/// What SQL gives, as tables to print.
namespace korvane::tools {

/// Runs `statement` to its end and prints its rows, if it can give any. Numbers and texts are
/// printed as they are, bytes as base64. Only people's tables and JSON need all rows; of the other
/// formats some thousand are held at a time. A column's name that is there already gets a number:
/// "id_2". For people NULL is "NULL". Returns the number of rows. Throws what the statement throws,
/// and std::runtime_error if nothing can be printed any more.
std::size_t print_rows(sqlite::Statement& statement, const OutputOptions& options,
                       std::ostream& output);

/// The same of a server's reply, whose texts and bytes are both texts.
std::size_t print_rows(const model::table::TABLE& reply, const OutputOptions& options,
                       std::ostream& output);

}  // namespace korvane::tools
