#pragma once

#include <string>

namespace korvane::schedule::drawing {

/// A number as people write it on a drawing: with at most two decimals, and none that are 0. Of any
/// finite number.
std::string short_number(double number);

}  // namespace korvane::schedule::drawing
