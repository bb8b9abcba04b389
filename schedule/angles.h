#pragma once

#include <numbers>

namespace korvane::schedule {

inline constexpr double kRadiansPerDegree = std::numbers::pi / 180;

}  // namespace korvane::schedule
