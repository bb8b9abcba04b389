#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bond/nullable.h"
#include "contracts/cad/diff_state.h"
#include "contracts/common/variant.h"

namespace korvane::model::cad {

/// One bar spacer line of a schedule. `rev_id` and `sheet_id` default to 0 where `Rebar` has
/// -1: the schema says so.
struct BarSpacer {
  std::int32_t rev_id = 0;
  std::int32_t sheet_id = 0;
  std::string name;
  std::int32_t quantity = 0;
  double weight_per_piece = 0.0;
  std::string mark;
  std::string description;
  double length = 0.0;
  Properties properties;
  bond::nullable<DiffState> diff_state;

  bool operator==(const BarSpacer&) const = default;
};

/// The reply of `get_all_barspacers_for_revision`.
struct BarSpacers {
  std::vector<BarSpacer> barspacers;

  bool operator==(const BarSpacers&) const = default;
};

}  // namespace korvane::model::cad
