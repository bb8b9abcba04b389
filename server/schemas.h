#pragma once

#include <string>
#include <vector>

#include "host/service/mounted.h"
#include "schedule/table.h"

/// The JSON of the routes, for who makes a client by it.
namespace korvane::server {

using Schemas = std::vector<host::MountedSchema>;

/// Each with what it refers to.
Schemas lines_schemas();
Schemas line_schemas();
Schemas sketches_schemas();
Schemas contents_schemas();
Schemas import_schemas();
/// What edit takes, and what it gives.
Schemas edit_schemas();
Schemas edited_schemas();

/// An object of the rows of these tables, by their names. Columns that are called as one of `mixed` hold numbers and
/// texts alike.
Schemas tables_schemas(const char* name, const std::vector<schedule::Table>& tables,
                       const std::vector<std::string>& mixed = {});

}  // namespace korvane::server
