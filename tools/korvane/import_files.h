#pragma once

#include <string>
#include <vector>

#include "schedule/import_plan.h"

namespace korvane::tools {

/// Reads what the arguments of a command name: files, folders for all .abs and .json files in them
/// in the order of their names, and "-" for the standard input. A file that is named twice is read
/// once.
///
/// Throws std::runtime_error "no file or folder <name>", "cannot read <name>: Permission denied"
/// and "<name>: there are more than 2147483648 bytes to import" for all together.
std::vector<schedule::Source> read_import_files(const std::vector<std::string>& arguments);

}  // namespace korvane::tools
