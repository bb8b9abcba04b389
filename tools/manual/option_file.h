#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/manual/command_text.h"

namespace korvane::manual {

/// The options of `serve` that can stand in its file, by their names there.
std::vector<OptionText> file_options(const CommandText& serve);

/// A file of options of `serve` with all of them: commented out, with their defaults, but for those
/// in `values`, by name, whose values are as the file has them. Throws std::runtime_error for a name
/// that is not an option's.
std::string option_file(const CommandText& serve, std::map<std::string, std::string> values);

}  // namespace korvane::manual
