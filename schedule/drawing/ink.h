#pragma once

#include "schedule/drawing/picture.h"

/// What inks look like, for whoever renders.
namespace korvane::schedule::drawing {

/// How light an ink is: 0 for black, 1 for white.
constexpr double lightness(Ink ink) {
  switch (ink) {
    case Ink::black:
      return 0;
    case Ink::grey:
      return 0.4;
    case Ink::light:
      return 0.92;
  }
  return 0;
}

/// A dash and the gap after it, in widths of the line.
inline constexpr double kDash = 5;
inline constexpr double kGap = 3;

}  // namespace korvane::schedule::drawing
