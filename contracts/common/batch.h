#pragma once

#include <vector>

namespace korvane {

/// The generic list message.
template <class T>
struct Batch {
  std::vector<T> items;

  bool operator==(const Batch&) const = default;
};

}  // namespace korvane
