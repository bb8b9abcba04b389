#pragma once

#include <cstdint>

#include "schedule/drawing/shape.h"

namespace korvane::schedule::drawing {

/// A flat bar such as offices draw: one to seven legs of 50 mm to 6 m, bends of all the usual
/// angles and of others, now and then a curved leg, treated ends. The same number gives the same.
Shape random_shape(std::uint32_t seed);

}  // namespace korvane::schedule::drawing
