#pragma once

#include <cstdint>
#include <string>

#include "contracts/cad/contracts.h"
#include "contracts/encoding/record_codec.h"
#include "tests/support/plain_sqlite.h"

namespace korvane::test {

/// References with only those fields set that the function is named after.
template <class Ref>
Ref by_id(std::int32_t id) {
  Ref ref;
  ref.id = id;
  return ref;
}
template <class Ref>
Ref by_uid(const std::string& uid) {
  Ref ref;
  ref.uid = uid;
  return ref;
}
template <class Ref>
Ref by_id_and_uid(std::int32_t id, const std::string& uid) {
  Ref ref = by_id<Ref>(id);
  ref.uid = uid;
  return ref;
}

/// Records that have no more than their table requires, and records with every field set to a value
/// of its own that a test can name. Where any value does, `filled_content` makes them.
model::cad::Rebar minimal_bar(std::int32_t rev_id, std::int32_t material_id);
model::cad::Rebar full_rebar(std::int32_t rev_id, std::int32_t material_id);

model::cad::FabricType minimal_fabric_type(std::int32_t material_id,
                                           const std::string& type_name = "");
model::cad::FabricType full_fabric_type(std::int32_t material_id);

model::cad::Fabric minimal_fabric(std::int32_t rev_id, std::int32_t fabric_type_id);
model::cad::Fabric full_fabric(std::int32_t rev_id, std::int32_t fabric_type_id);

model::cad::BarSpacer minimal_bar_spacer(std::int32_t rev_id);
model::cad::BarSpacer full_bar_spacer(std::int32_t rev_id);

model::cad::MountingPart minimal_mounting_part(std::int32_t rev_id, std::int32_t material_id);
model::cad::MountingPart full_mounting_part(std::int32_t rev_id, std::int32_t material_id);

/// A treatment with every field set; those of two tags differ in all texts.
model::cad::EndTreatment treatment(const std::string& tag);

Variant text_variant(const std::string& text);

/// The bytes of a record as `plain_rows` gives those of a column `raw`.
template <class T>
std::string raw_hex(const T& record) {
  const bond::blob bytes = encoding::encode(record);
  return hex(bytes.data(), bytes.size());
}

}  // namespace korvane::test
