#include "tests/support/records.h"

namespace korvane::test {

using namespace model::cad;

namespace {

RebarParams letters(double first) {
  RebarParams params;
  double value = first;
  for (auto* letter :
       {&params.a, &params.b, &params.c, &params.d, &params.e, &params.f, &params.r}) {
    letter->set(value);
    value += 1;
  }
  return params;
}

RebarGeometry bent_geometry() {
  GeometryObject leg;
  leg.length.set(0.75);
  leg.display_length.set(0.76);
  leg.labels = {{GeometryLabelType::Length, "75"}};
  GeometryObject bend;
  bend.type = GeometryObjectType::kArc;
  bend.angle.set(90.5);
  bend.radius.set(0.06);
  bend.labels = {{GeometryLabelType::Radius, "R6"}, {GeometryLabelType::Angle, "90"}};
  return {{leg, bend}, {{0.1, 0.2, 0.3}, {1.1, 1.2, 1.3}}};
}

Hook hook(HookDirection direction, double length) {
  return {length, length + 0.01, "kAngleHook", direction, 135.25};
}

Textblock note() {
  Cell cell;
  cell.value.value_double.set(6.25);
  cell.implicit_unit.set(4);
  return {{{{{cell}}}}};
}

}  // namespace

Rebar minimal_bar(std::int32_t rev_id, std::int32_t material_id) {
  Rebar bar;
  bar.rev_id = rev_id;
  bar.material_id.set(material_id);
  return bar;
}

Rebar full_rebar(std::int32_t rev_id, std::int32_t material_id) {
  Rebar bar = minimal_bar(rev_id, material_id);
  bar.id = 4711;
  bar.sheet_id = 33;
  bar.comment = "top layer";
  bar.member = "Wall 3";
  bar.mark = "17";
  bar.member_multiplier = 2;
  bar.bars_per_member = 12;
  bar.total_bars = 24;
  bar.total_length = 81.75;
  bar.bar_diameter = 0.014;
  bar.shape_code.set("21");
  bar.parameters_exact = letters(1.125);
  bar.parameters_rounded = letters(101.5);
  bar.geometry = bent_geometry();
  bar.start_hook.set(hook(HookDirection::kRight, 0.15));
  bar.end_hook.set(hook(HookDirection::kLeft, 0.16));
  bar.standard_bend_diameter = 0.056;
  bar.hook_bend_diameter.set(0.07);
  bar.submark.set("b");
  bar.mark_suffix.set("-S");
  bar.mark_prefix.set("P-");
  bar.properties = {{"layer", text_variant("T1")}};
  bar.out_of_plane_bend_diameter.set(0.098);
  bar.end_treatment_start.set(treatment("start"));
  bar.end_treatment_end.set(treatment("end"));
  bar.bar_type_name.set("B500B 14");
  bar.bar_type_mass_per_length = 1.2086;
  bar.diff_state.set(DiffState::kAdded);
  bar.textblock.set(note());
  bar.custom_text.set("see detail 4");
  return bar;
}

EndTreatment treatment(const std::string& tag) {
  EndTreatment treatment;
  treatment.type = "kCollar " + tag;
  treatment.manufacturer = "maker " + tag;
  treatment.model = "model " + tag;
  treatment.diameter = 0.0325;
  treatment.comment = "comment " + tag;
  treatment.draw_pointer = true;
  treatment.type_description = "description " + tag;
  return treatment;
}

Variant text_variant(const std::string& text) {
  Variant variant;
  variant.value_string.set(text);
  return variant;
}

}  // namespace korvane::test
