#pragma once

#include <cstdint>
#include <string>

#include "contracts/cad/contracts.h"
#include "tests/support/records.h"

/// Records with every field set, no two alike, and records with no more than their table requires.
namespace korvane::test {

model::cad::FabricType minimal_fabric_type(std::int32_t material_id,
                                           const std::string& type_name = "");
model::cad::FabricType full_fabric_type(std::int32_t material_id);

model::cad::Fabric minimal_fabric(std::int32_t rev_id, std::int32_t fabric_type_id);
model::cad::Fabric full_fabric(std::int32_t rev_id, std::int32_t fabric_type_id);

model::cad::BarSpacer minimal_bar_spacer(std::int32_t rev_id);
model::cad::BarSpacer full_bar_spacer(std::int32_t rev_id);

model::cad::MountingPart minimal_mounting_part(std::int32_t rev_id, std::int32_t material_id);
model::cad::MountingPart full_mounting_part(std::int32_t rev_id, std::int32_t material_id);

}  // namespace korvane::test
