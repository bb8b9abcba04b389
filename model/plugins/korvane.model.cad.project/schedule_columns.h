#pragma once

#include <cstdint>

#include <Poco/Data/LOB.h>
#include <Poco/Nullable.h>

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
  Poco::Nullable<std::int32_t> end_treatment_start;
  Poco::Nullable<std::int32_t> end_treatment_end;
  Poco::Data::BLOB raw;
};

/// `values` must outlive the result.
inline InsertRow<Rebar> rebar_columns(const RebarRowValues& values) {
  InsertRow<Rebar> row("rebar");
  row.plain("rev_id", &Rebar::rev_id)
      .plain("comment", &Rebar::comment)
      .plain("member", &Rebar::member)
      .plain("mark", &Rebar::mark)
      .nullable("submark", &Rebar::submark)
      .nullable("mark_suffix", &Rebar::mark_suffix)
      .nullable("mark_prefix", &Rebar::mark_prefix)
      .nullable("material_id", &Rebar::material_id)
      .plain("member_multiplier", &Rebar::member_multiplier)
      .plain("bars_per_member", &Rebar::bars_per_member)
      .plain("total_bars", &Rebar::total_bars)
      .plain("total_length", &Rebar::total_length)
      .plain("bar_diameter", &Rebar::bar_diameter)
      .plain("standard_bend_diameter", &Rebar::standard_bend_diameter)
      .nullable("hook_bend_diameter", &Rebar::hook_bend_diameter)
      .given("end_treatment_start", values.end_treatment_start)
      .given("end_treatment_end", values.end_treatment_end)
      .nullable("shape_code", &Rebar::shape_code)
      .letters("", &Rebar::parameters_exact)
      .letters("_rounded", &Rebar::parameters_rounded)
      // The two names differ from their fields on purpose.
      .nullable("bartype_name", &Rebar::bar_type_name)
      .plain("bartype_mass_per_length", &Rebar::bar_type_mass_per_length)
      .given("raw", values.raw);
  return row;
}

/// `raw` must outlive the result, here and below.
inline InsertRow<Fabric> fabric_columns(const Poco::Data::BLOB& raw) {
  InsertRow<Fabric> row("fabric");
  row.plain("rev_id", &Fabric::rev_id)
      .plain("comment", &Fabric::comment)
      .plain("member", &Fabric::member)
      .plain("mark", &Fabric::mark)
      .nullable("mark_suffix", &Fabric::mark_suffix)
      .nullable("mark_prefix", &Fabric::mark_prefix)
      .plain("member_multiplier", &Fabric::member_multiplier)
      .plain("fabrics_per_member", &Fabric::fabrics_per_member)
      .plain("total_fabrics", &Fabric::total_fabrics)
      .plain("length", &Fabric::length)
      .plain("width", &Fabric::width)
      .plain("standard_bend_diameter", &Fabric::standard_bend_diameter)
      .nullable("shape_code", &Fabric::shape_code)
      .plain("fabric_weight", &Fabric::fabric_weight)
      .letters("", &Fabric::parameters_exact)
      .letters("_rounded", &Fabric::parameters_rounded)
      .plain("fabric_type_id", &Fabric::fabric_type, &FabricType::id)
      .given("raw", raw);
  return row;
}

inline InsertRow<BarSpacer> bar_spacer_columns(const Poco::Data::BLOB& raw) {
  InsertRow<BarSpacer> row("barspacer");
  row.plain("mark", &BarSpacer::mark)
      .plain("rev_id", &BarSpacer::rev_id)
      .plain("sheet_id", &BarSpacer::sheet_id)
      .plain("name", &BarSpacer::name)
      .plain("quantity", &BarSpacer::quantity)
      .plain("weight_per_piece", &BarSpacer::weight_per_piece)
      .plain("description", &BarSpacer::description)
      .plain("length", &BarSpacer::length)
      .given("raw", raw);
  return row;
}

inline InsertRow<MountingPart> mounting_part_columns(const Poco::Data::BLOB& raw) {
  InsertRow<MountingPart> row("mountingpart");
  row.plain("mark", &MountingPart::mark)
      .plain("quantity", &MountingPart::quantity)
      .plain("material_id", &MountingPart::material_id)
      .nullable("family_name", &MountingPart::family_name)
      .nullable("type_name", &MountingPart::type_name)
      .nullable("manufacturer", &MountingPart::manufacturer)
      .nullable("comment", &MountingPart::comment)
      .nullable("keynote", &MountingPart::keynote)
      .nullable("model", &MountingPart::model)
      .nullable("url", &MountingPart::url)
      .nullable("description", &MountingPart::description)
      .nullable("cost", &MountingPart::cost)
      .nullable("order_number", &MountingPart::order_number)
      .nullable("catalog", &MountingPart::catalog)
      .plain("rev_id", &MountingPart::rev_id)
      .nullable("mark_prefix", &MountingPart::mark_prefix)
      .nullable("mark_suffix", &MountingPart::mark_suffix)
      .nullable("member", &MountingPart::member)
      .given("raw", raw);
  return row;
}

}  // namespace korvane::model::cad
