#pragma once

#include <cstdint>
#include <vector>

#include "bond/nullable.h"
#include "contracts/common/variant.h"

namespace korvane::model::cad {

/// One cell of a text table. `implicit_unit` is a number that the store passes along.
struct Cell {
  Variant value;
  bond::nullable<std::int32_t> implicit_unit;

  bool operator==(const Cell&) const = default;
};

/// One row of a text table.
struct TextblockRow {
  std::vector<Cell> cells;

  bool operator==(const TextblockRow&) const = default;
};

/// The rows of a text table.
struct TextblockTable {
  std::vector<TextblockRow> rows;

  bool operator==(const TextblockTable&) const = default;
};

/// A small table of text that a schedule line carries. Despite its name, `items` is one table.
struct Textblock {
  TextblockTable items;

  bool operator==(const Textblock&) const = default;
};

}  // namespace korvane::model::cad
