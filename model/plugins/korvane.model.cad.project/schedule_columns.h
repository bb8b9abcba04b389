#pragma once

#include <cstdint>

#include "bond/blob.h"
#include "bond/nullable.h"
#include "contracts/cad/bar_spacer.h"
#include "contracts/cad/fabric.h"
#include "contracts/cad/mounting_part.h"
#include "contracts/cad/rebar.h"
#include "model/plugins/korvane.model.cad.project/batch_insert.h"

/// The columns of the content tables, in table order and without `id`, which the database assigns.
/// All other fields of a record live in `raw` alone.
namespace korvane::model::cad {

/// What a bar's row takes from elsewhere than the record's own fields.
struct RebarRowValues {
  bond::nullable<std::int32_t> end_treatment_start;
  bond::nullable<std::int32_t> end_treatment_end;
  bond::blob raw;
};

/// `values` must outlive the result.
inline InsertRow<Rebar> rebar_columns(const RebarRowValues& values) {
  InsertRow<Rebar> row("rebar");
  row.field("rev_id", &Rebar::rev_id)
      .field("comment", &Rebar::comment)
      .field("member", &Rebar::member)
      .field("mark", &Rebar::mark)
      .field("submark", &Rebar::submark)
      .field("mark_suffix", &Rebar::mark_suffix)
      .field("mark_prefix", &Rebar::mark_prefix)
      .field("material_id", &Rebar::material_id)
      .field("member_multiplier", &Rebar::member_multiplier)
      .field("bars_per_member", &Rebar::bars_per_member)
      .field("total_bars", &Rebar::total_bars)
      .field("total_length", &Rebar::total_length)
      .field("bar_diameter", &Rebar::bar_diameter)
      .field("standard_bend_diameter", &Rebar::standard_bend_diameter)
      .field("hook_bend_diameter", &Rebar::hook_bend_diameter)
      .given("end_treatment_start", values.end_treatment_start)
      .given("end_treatment_end", values.end_treatment_end)
      .field("shape_code", &Rebar::shape_code)
      .letters("", &Rebar::parameters_exact)
      .letters("_rounded", &Rebar::parameters_rounded)
      // The two names differ from their fields on purpose.
      .field("bartype_name", &Rebar::bar_type_name)
      .field("bartype_mass_per_length", &Rebar::bar_type_mass_per_length)
      .given("raw", values.raw);
  return row;
}

/// `raw` must outlive the result, here and below.
inline InsertRow<Fabric> fabric_columns(const bond::blob& raw) {
  InsertRow<Fabric> row("fabric");
  row.field("rev_id", &Fabric::rev_id)
      .field("comment", &Fabric::comment)
      .field("member", &Fabric::member)
      .field("mark", &Fabric::mark)
      .field("mark_suffix", &Fabric::mark_suffix)
      .field("mark_prefix", &Fabric::mark_prefix)
      .field("member_multiplier", &Fabric::member_multiplier)
      .field("fabrics_per_member", &Fabric::fabrics_per_member)
      .field("total_fabrics", &Fabric::total_fabrics)
      .field("length", &Fabric::length)
      .field("width", &Fabric::width)
      .field("standard_bend_diameter", &Fabric::standard_bend_diameter)
      .field("shape_code", &Fabric::shape_code)
      .field("fabric_weight", &Fabric::fabric_weight)
      .letters("", &Fabric::parameters_exact)
      .letters("_rounded", &Fabric::parameters_rounded)
      .field("fabric_type_id", &Fabric::fabric_type, &FabricType::id)
      .given("raw", raw);
  return row;
}

inline InsertRow<BarSpacer> bar_spacer_columns(const bond::blob& raw) {
  InsertRow<BarSpacer> row("barspacer");
  row.field("mark", &BarSpacer::mark)
      .field("rev_id", &BarSpacer::rev_id)
      .field("sheet_id", &BarSpacer::sheet_id)
      .field("name", &BarSpacer::name)
      .field("quantity", &BarSpacer::quantity)
      .field("weight_per_piece", &BarSpacer::weight_per_piece)
      .field("description", &BarSpacer::description)
      .field("length", &BarSpacer::length)
      .given("raw", raw);
  return row;
}

inline InsertRow<MountingPart> mounting_part_columns(const bond::blob& raw) {
  InsertRow<MountingPart> row("mountingpart");
  row.field("mark", &MountingPart::mark)
      .field("quantity", &MountingPart::quantity)
      .field("material_id", &MountingPart::material_id)
      .field("family_name", &MountingPart::family_name)
      .field("type_name", &MountingPart::type_name)
      .field("manufacturer", &MountingPart::manufacturer)
      .field("comment", &MountingPart::comment)
      .field("keynote", &MountingPart::keynote)
      .field("model", &MountingPart::model)
      .field("url", &MountingPart::url)
      .field("description", &MountingPart::description)
      .field("cost", &MountingPart::cost)
      .field("order_number", &MountingPart::order_number)
      .field("catalog", &MountingPart::catalog)
      .field("rev_id", &MountingPart::rev_id)
      .field("mark_prefix", &MountingPart::mark_prefix)
      .field("mark_suffix", &MountingPart::mark_suffix)
      .field("member", &MountingPart::member)
      .given("raw", raw);
  return row;
}

}  // namespace korvane::model::cad
