#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bond/nullable.h"
#include "contracts/cad/diff_state.h"
#include "contracts/cad/end_treatment.h"
#include "contracts/cad/hook.h"
#include "contracts/cad/rebar_geometry.h"
#include "contracts/cad/rebar_params.h"
#include "contracts/cad/textblock.h"
#include "contracts/common/variant.h"

namespace korvane::model::cad {

/// One line of a bar schedule: one bar mark with its counts, bending dimensions, geometry,
/// hooks and end treatments. Numbers are kept as sent; no unit is stated.
struct Rebar {
  std::int32_t id = 0;
  std::int32_t rev_id = -1;
  std::int32_t sheet_id = -1;
  std::string comment;
  std::string member;
  std::string mark;
  /// Nullable here, required by the table: a bar without one cannot be stored.
  bond::nullable<std::int32_t> material_id;
  std::int32_t member_multiplier = 0;
  std::int32_t bars_per_member = 0;
  std::int32_t total_bars = 0;
  double total_length = 0.0;
  double bar_diameter = 0.0;
  bond::nullable<std::string> shape_code;
  RebarParams parameters_exact;
  RebarParams parameters_rounded;
  RebarGeometry geometry;
  bond::nullable<Hook> start_hook;
  bond::nullable<Hook> end_hook;
  double standard_bend_diameter = 0.0;
  bond::nullable<double> hook_bend_diameter;
  bond::nullable<std::string> submark;
  bond::nullable<std::string> mark_suffix;
  bond::nullable<std::string> mark_prefix;
  Properties properties;
  bond::nullable<double> out_of_plane_bend_diameter;
  bond::nullable<EndTreatment> end_treatment_start;
  bond::nullable<EndTreatment> end_treatment_end;
  bond::nullable<std::string> bar_type_name;
  double bar_type_mass_per_length = 0.0;
  bond::nullable<DiffState> diff_state;
  bond::nullable<Textblock> textblock;
  bond::nullable<std::string> custom_text;

  bool operator==(const Rebar&) const = default;
};

/// The reply of `get_all_rebars_for_revision`.
struct Rebars {
  std::vector<Rebar> rebars;

  bool operator==(const Rebars&) const = default;
};

/// Bars of one revision and sheet. No operation takes it.
struct CreateRebars {
  std::int32_t rev_id = -1;
  std::int32_t sheet_id = -1;
  std::vector<Rebar> rebars;

  bool operator==(const CreateRebars&) const = default;
};

/// A message without fields. No operation takes it.
struct GenerateBendingSchedule {
  bool operator==(const GenerateBendingSchedule&) const = default;
};

}  // namespace korvane::model::cad
