#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bond/nullable.h"
#include "contracts/cad/diff_state.h"
#include "contracts/cad/fabric_type.h"
#include "contracts/cad/rebar_geometry.h"
#include "contracts/cad/rebar_params.h"
#include "contracts/cad/textblock.h"
#include "contracts/common/generic_reply.h"
#include "contracts/common/variant.h"

namespace korvane::model::cad {

/// One fabric line of a schedule. There is no `id`: the record does not hold that of its row.
/// `fabric_type` is a whole copy, of which only the `id` reaches a column.
struct Fabric {
  std::int32_t rev_id = -1;
  std::int32_t sheet_id = -1;
  std::string comment;
  std::string member;
  std::string mark;
  std::int32_t member_multiplier = 0;
  std::int32_t fabrics_per_member = 0;
  std::int32_t total_fabrics = 0;
  bond::nullable<std::string> shape_code;
  RebarParams parameters_exact;
  RebarParams parameters_rounded;
  double standard_bend_diameter = 0.0;
  std::string type_name;
  double width = 0.0;
  double length = 0.0;
  double fabric_weight = 0.0;
  std::int32_t multiplier = 1;
  bond::nullable<std::string> mark_suffix;
  bond::nullable<std::string> mark_prefix;
  Properties properties;
  FabricType fabric_type;
  bond::nullable<DiffState> diff_state;
  bond::nullable<RebarGeometry> geometry;
  bond::nullable<Textblock> textblock;

  bool operator==(const Fabric&) const = default;
};

/// The reply of `get_all_fabrics_for_revision`.
struct Fabrics {
  std::vector<Fabric> fabrics;

  bool operator==(const Fabrics&) const = default;
};

/// The request of `get_all_fabrics_for_revision`. It names a revision, not a fabric.
struct FabricRef : GenericReply {
  std::int32_t rev_id = 0;

  bool operator==(const FabricRef&) const = default;
};

/// No operation takes or returns it.
struct FabricInfo {
  std::int32_t id = 0;

  bool operator==(const FabricInfo&) const = default;
};

}  // namespace korvane::model::cad
