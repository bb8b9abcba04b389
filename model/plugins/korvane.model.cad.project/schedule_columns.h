#pragma once

#include <cstdint>

#include <Poco/Data/LOB.h>
#include <Poco/Nullable.h>

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

}  // namespace korvane::model::cad
