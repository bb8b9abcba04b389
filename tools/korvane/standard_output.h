#pragma once

#include <iostream>
#include <stdexcept>

namespace korvane::tools {

/// Throws std::runtime_error "cannot write to the standard output" unless all that was printed has
/// left the process. The last thing that a command does.
inline void require_output() {
  std::cout.flush();
  if (!std::cout) throw std::runtime_error("cannot write to the standard output");
}

}  // namespace korvane::tools
