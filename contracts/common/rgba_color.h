#pragma once

namespace korvane {

/// A colour of four components from 0 to 1; opaque white by default.
struct RGBA_Color {
  double r = 1.0;
  double g = 1.0;
  double b = 1.0;
  double a = 1.0;

  bool operator==(const RGBA_Color&) const = default;
};

}  // namespace korvane
