#pragma once

#include <cstdint>
#include <vector>

#include "contracts/geometry/curve.h"

namespace korvane::model::geometry {

/// Which side of a boundary a `Loop` closes.
enum class LoopKind : std::int32_t {
  kOuterLoop = 0,
  kInnerLoop = 1,
};

/// A closed boundary.
struct Loop {
  LoopKind kind = LoopKind::kOuterLoop;
  std::vector<AnyCurve> curves;

  bool operator==(const Loop&) const = default;
};

}  // namespace korvane::model::geometry
