#pragma once

#include <string_view>

namespace korvane::host {

/// Whether more SQL follows the first statement of `sql`: anything but blanks, comments and
/// semicolons. Statements end as in SQLite's tool: at a semicolon outside texts, names and
/// comments, those of a CREATE TRIGGER at the one after its END.
bool has_several_statements(std::string_view sql);

}  // namespace korvane::host
