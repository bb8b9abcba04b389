#include "tests/model/plugins/korvane.model.cad.project/content_records.h"

namespace korvane::test {

using namespace model::cad;

namespace {

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

}  // namespace korvane::test
