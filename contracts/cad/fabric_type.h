#pragma once

#include <cstdint>
#include <string>

#include "bond/maybe.h"
#include "bond/nullable.h"
#include "contracts/cad/material.h"
#include "contracts/common/generic_reply.h"

namespace korvane::model::cad {

/// The bar layout of a list fabric, along and across. Bar counts travel as doubles.
struct ListenMatten {
  double along_distance = 0.0;
  double along_inner_bar_diameter = 0.0;
  double along_border_bar_diameter = 0.0;
  double along_left_border_bar_number = 0.0;
  double along_right_border_bar_number = 0.0;
  double along_start_overhang = 0.0;
  double along_end_overhang = 0.0;
  double across_distance = 0.0;
  double across_inner_bar_diameter = 0.0;
  double across_border_bar_diameter = 0.0;
  double across_start_border_bar_number = 0.0;
  double across_end_border_bar_number = 0.0;
  double across_left_overhang = 0.0;
  double across_right_overhang = 0.0;

  bool operator==(const ListenMatten&) const = default;
};

/// A type of fabric from the catalogue. `material` is a whole copy of one, of which only the
/// `id` reaches a column; `list_fabric` is set for a list fabric. `id` defaults to 0 where
/// `Material` has -1: the schema says so.
struct FabricType {
  std::int32_t id = 0;
  std::string uid;
  double sheet_mass = 0.0;
  double overall_length = 0.0;
  double overall_width = 0.0;
  std::string type_name;
  Material material;
  std::string description;
  bond::nullable<ListenMatten> list_fabric;

  bool operator==(const FabricType&) const = default;
};

/// Names a fabric type by `id`, by `uid` or by both. Every value that is set counts.
struct FabricTypeRef : GenericReply {
  bond::maybe<std::int32_t> id;
  bond::maybe<std::string> uid;

  bool operator==(const FabricTypeRef&) const = default;
};

/// The request of `list_fabric_type`.
struct ListFabricType {
  bool operator==(const ListFabricType&) const = default;
};

}  // namespace korvane::model::cad
