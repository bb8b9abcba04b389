#pragma once

#include <cstdint>
#include <string>

#include "contracts/cad/contracts.h"
#include "contracts/encoding/record_codec.h"
#include "tests/support/plain_sqlite.h"

namespace korvane::test {

/// References that have set what they are named after, and nothing else.
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

/// A bar that has only what the table requires.
model::cad::Rebar minimal_bar(std::int32_t rev_id, std::int32_t material_id);

/// A bar with every field set, no two alike.
model::cad::Rebar full_rebar(std::int32_t rev_id, std::int32_t material_id);

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
