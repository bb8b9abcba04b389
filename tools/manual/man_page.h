#pragma once

#include <string>
#include <vector>

#include "tools/manual/command_text.h"

namespace korvane::manual {

/// A page of the manual in the language of man(7).
struct ManPage {
  /// "korvane-import.1".
  std::string file;
  std::string text;
};

/// The pages of the program and of each of its commands, and the one of the file of `serve`.
std::vector<ManPage> man_pages(const CommandText& program, const std::string& version);

}  // namespace korvane::manual
