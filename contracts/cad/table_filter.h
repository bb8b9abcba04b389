#pragma once

#include <vector>

namespace korvane::model::cad {

/// A message without fields.
struct Filter {
  bool operator==(const Filter&) const = default;
};

/// No operation takes it.
struct TableFilter {
  std::vector<Filter> filters;

  bool operator==(const TableFilter&) const = default;
};

}  // namespace korvane::model::cad
