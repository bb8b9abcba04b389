#pragma once

#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "bond/describe.h"
#include "contracts/cad/contracts.describe.h"
#include "contracts/common/contracts.describe.h"
#include "contracts/encoding/record_codec.h"
#include "contracts/geometry/contracts.describe.h"
#include "tests/bond/bytes.h"
#include "tests/support/vector_json.h"

// A failed comparison of two records shows their fields.
namespace korvane {
template <bond::Described T>
void PrintTo(const T& record, std::ostream* out) {
  *out << test::vector_text(record);
}
namespace model::geometry {
using korvane::PrintTo;
}
namespace model::cad {
using korvane::PrintTo;
}
}  // namespace korvane

namespace korvane::test {

template <class... Records>
struct RecordList {
  /// Calls `visitor.operator()<T>()` for the record of that plain name.
  template <class Visitor>
  static void visit(std::string_view name, Visitor&& visitor) {
    const auto visit_if_it_is = [&]<class T>() {
      if (bond::plain_name(bond::Describe<T>::qualified_name) != name) return false;
      visitor.template operator()<T>();
      return true;
    };
    if (!(visit_if_it_is.template operator()<Records>() || ...)) {
      throw std::invalid_argument("no stored record is named " + std::string(name));
    }
  }
};

/// The records that are stored and those that stand inside them.
using StoredRecords =
    RecordList<model::cad::Material, model::cad::FabricType, model::cad::Sheet,
               model::cad::Revision, model::cad::ProjectData, model::cad::Rebar, model::cad::Fabric,
               model::cad::BarSpacer, model::cad::MountingPart, model::cad::Material_Identity,
               model::cad::Material_Physical, model::cad::ListenMatten, model::cad::RebarParams,
               model::cad::RebarGeometry, model::cad::GeometryObject, model::cad::GeometryLabel,
               model::geometry::Point3d, model::cad::Hook, model::cad::EndTreatment,
               model::cad::Textblock, model::cad::TextblockTable, model::cad::TextblockRow,
               model::cad::Cell, Variant>;

/// The bytes of `record` as text.
template <class T>
std::string encoded(const T& record) {
  return hex(encoding::encode(record));
}

template <class T>
void decode_bytes_into(std::string_view bytes, T& record) {
  encoding::decode_into(bytes.data(), length_of(bytes), record);
}

template <class T>
T decode_bytes(std::string_view bytes) {
  T record{};
  decode_bytes_into(bytes, record);
  return record;
}

/// The record that these bytes, given as text, are read as.
template <class T>
T decoded(std::string_view text) {
  return decode_bytes<T>(from_hex(text));
}

/// What decoding raises: the text of the exception of that type, or "no exception".
template <class Exception, class T>
std::string decoding_error(std::string_view text) {
  try {
    decoded<T>(text);
  } catch (const Exception& exception) {
    return exception.what();
  }
  return "no exception";
}

}  // namespace korvane::test
