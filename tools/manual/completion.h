#pragma once

#include <string>

#include "tools/manual/command_text.h"

namespace korvane::manual {

// What each shell sources to complete commands, options, values of which there are a few, and names
// of files and folders. The three know the same: the texts of the program.

std::string bash_completion(const CommandText& program);
std::string zsh_completion(const CommandText& program);
std::string fish_completion(const CommandText& program);

}  // namespace korvane::manual
