#pragma once

#include <string>
#include <utility>
#include <vector>

#include "schedule/drawing/shape.h"

namespace korvane::schedule::drawing {

/// A bar of each code that is flat, with its code.
std::vector<std::pair<std::string, Shape>> coded_figures();

}  // namespace korvane::schedule::drawing
