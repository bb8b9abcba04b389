#pragma once

namespace korvane {

/// A message without fields.
struct Empty {
  bool operator==(const Empty&) const = default;
};

}  // namespace korvane
