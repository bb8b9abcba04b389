#pragma once

#include <fstream>
#include <sstream>
#include <string>

namespace korvane::test {

/// All that a file holds.
inline std::string text_of(const std::string& filename) {
  std::ifstream file(filename, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

}  // namespace korvane::test
