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

ListenMatten bar_layout() {
  return {0.15, 0.007, 0.0065, 2, 3, 0.025, 0.035, 0.25, 0.008, 0.0085, 4, 5, 0.045, 0.055};
}

Material material_copy(std::int32_t id) {
  return {id,
          "copied uid",
          {"B500A", "welded", "mesh", "from the mill"},
          {"steel", "cold drawn", "ribbed", "class A", 7850.5}};
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

FabricType minimal_fabric_type(std::int32_t material_id, const std::string& type_name) {
  FabricType type;
  type.type_name = type_name;
  type.material.id = material_id;
  return type;
}

FabricType full_fabric_type(std::int32_t material_id) {
  FabricType type = minimal_fabric_type(material_id, "R257A");
  type.id = 77;
  type.uid = "type uid";
  type.sheet_mass = 49.75;
  type.overall_length = 6.05;
  type.overall_width = 2.35;
  type.material = material_copy(material_id);
  type.description = "one way";
  type.list_fabric.set(bar_layout());
  return type;
}

Fabric minimal_fabric(std::int32_t rev_id, std::int32_t fabric_type_id) {
  Fabric fabric;
  fabric.rev_id = rev_id;
  fabric.fabric_type.id = fabric_type_id;
  return fabric;
}

Fabric full_fabric(std::int32_t rev_id, std::int32_t fabric_type_id) {
  const Rebar bar = full_rebar(rev_id, 0);
  Fabric fabric;
  fabric.rev_id = rev_id;
  fabric.sheet_id = 34;
  fabric.comment = "bottom layer";
  fabric.member = "Slab 2";
  fabric.mark = "M17";
  fabric.member_multiplier = 3;
  fabric.fabrics_per_member = 8;
  fabric.total_fabrics = 24;
  fabric.shape_code.set("007");
  fabric.parameters_exact = bar.parameters_exact;
  fabric.parameters_rounded = bar.parameters_rounded;
  fabric.standard_bend_diameter = 0.028;
  fabric.type_name = "R257A cut";
  fabric.width = 2.25;
  fabric.length = 5.95;
  fabric.fabric_weight = 43.5;
  fabric.multiplier = 6;
  fabric.mark_suffix.set("-u");
  fabric.mark_prefix.set("F-");
  fabric.properties = {{"layer", text_variant("B1")}};
  fabric.fabric_type = full_fabric_type(5);
  fabric.fabric_type.id = fabric_type_id;
  fabric.diff_state.set(DiffState::kRemoved);
  fabric.geometry.set(bar.geometry);
  fabric.textblock = bar.textblock;
  return fabric;
}

BarSpacer minimal_bar_spacer(std::int32_t rev_id) {
  BarSpacer spacer;
  spacer.rev_id = rev_id;
  return spacer;
}

BarSpacer full_bar_spacer(std::int32_t rev_id) {
  BarSpacer spacer = minimal_bar_spacer(rev_id);
  spacer.sheet_id = 35;
  spacer.name = "snake";
  spacer.quantity = 40;
  spacer.weight_per_piece = 0.625;
  spacer.mark = "D 9";
  spacer.description = "height 12";
  spacer.length = 1.75;
  spacer.properties = {{"supplier", text_variant("yard")}};
  spacer.diff_state.set(DiffState::kAdded);
  return spacer;
}

MountingPart minimal_mounting_part(std::int32_t rev_id, std::int32_t material_id) {
  MountingPart part;
  part.rev_id = rev_id;
  part.material_id = material_id;
  return part;
}

MountingPart full_mounting_part(std::int32_t rev_id, std::int32_t material_id) {
  MountingPart part = minimal_mounting_part(rev_id, material_id);
  part.id = 4712;
  part.mark = "A 3";
  part.quantity = 14;
  part.family_name.set("anchor plate");
  part.type_name.set("200 x 300");
  part.manufacturer.set("forge");
  part.comment.set("cast in");
  part.keynote.set("03 21");
  part.model.set("AP 20");
  part.url.set("https://example.org/ap20");
  part.description.set("with four studs");
  part.cost.set(81.25);
  part.order_number.set("0815");
  part.catalog.set("2019");
  part.sheet_id = 36;
  part.mark_prefix.set("E-");
  part.mark_suffix.set("-x");
  part.diff_state.set(DiffState::kAdded);
  part.member.set("Column 4");
  return part;
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
