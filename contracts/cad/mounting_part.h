#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bond/nullable.h"
#include "contracts/cad/diff_state.h"
#include "contracts/common/generic_reply.h"

namespace korvane::model::cad {

/// One mounting part line of a schedule. `material_id` is plain here and nullable in `Rebar`,
/// `member` the other way round: the schema says so.
struct MountingPart {
  std::int32_t id = 0;
  std::string mark;
  std::int32_t quantity = 0;
  std::int32_t material_id = 0;
  bond::nullable<std::string> family_name;
  bond::nullable<std::string> type_name;
  bond::nullable<std::string> manufacturer;
  bond::nullable<std::string> comment;
  bond::nullable<std::string> keynote;
  bond::nullable<std::string> model;
  bond::nullable<std::string> url;
  bond::nullable<std::string> description;
  bond::nullable<double> cost;
  bond::nullable<std::string> order_number;
  bond::nullable<std::string> catalog;
  std::int32_t sheet_id = 0;
  std::int32_t rev_id = 0;
  bond::nullable<std::string> mark_prefix;
  bond::nullable<std::string> mark_suffix;
  bond::nullable<DiffState> diff_state;
  bond::nullable<std::string> member;

  bool operator==(const MountingPart&) const = default;
};

/// The reply of `get_all_mountingparts_for_revision`.
struct MountingParts {
  std::vector<MountingPart> mountingParts;

  bool operator==(const MountingParts&) const = default;
};

/// The request of `get_all_mountingparts_for_revision`. It names a revision, not a part.
struct MountingPartRef : GenericReply {
  std::int32_t rev_id = 0;

  bool operator==(const MountingPartRef&) const = default;
};

}  // namespace korvane::model::cad
