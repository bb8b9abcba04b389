#pragma once

#include <cstddef>
#include <string_view>

namespace krv::app {

/// How the names of files begin on which processes try the locks of a file system, beside projects.
constexpr std::string_view kLockProbe = ".korvane-locks-";
/// After it: digits of hexadecimal, in small letters.
constexpr std::size_t kLockProbeDigits = 16;

/// Whether that is the name of such a file, and names no folder.
inline bool is_lock_probe(std::string_view name) {
  return name.size() == kLockProbe.size() + kLockProbeDigits && name.starts_with(kLockProbe) &&
         name.find_first_not_of("0123456789abcdef", kLockProbe.size()) == name.npos;
}

}  // namespace krv::app
