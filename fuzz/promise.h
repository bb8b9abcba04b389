#pragma once

#include <cstdlib>
#include <iostream>
#include <string_view>

namespace korvane::fuzz {

/// Ends the process, which is a finding, unless `is_kept`.
inline void promise(bool is_kept, std::string_view what) {
  if (is_kept) return;
  std::cerr << "broken promise: " << what << '\n';
  std::abort();
}

}  // namespace korvane::fuzz
