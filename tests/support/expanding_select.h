#pragma once

#include <string>

namespace korvane::test {

/// A select that SQLite expands to 2^steps while it compiles it.
inline std::string expanding_select(int steps) {
  std::string sql = "with a0 as (select 1 x)";
  for (int i = 1; i <= steps; ++i) {
    const std::string former = "a" + std::to_string(i - 1);
    sql += ", a" + std::to_string(i) + " as (select l.x from " + former + " l, " + former + " r)";
  }
  return sql + " select count(*) from a" + std::to_string(steps);
}

}  // namespace korvane::test
