#pragma once

#include <cstdint>

namespace korvane::model::cad {

/// The change state of a schedule line, set by the client.
enum class DiffState : std::int32_t {
  kModified = 0,
  kRemoved = 1,
  kAdded = 2,
};

}  // namespace korvane::model::cad
