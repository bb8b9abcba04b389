#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "bond/blob.h"
#include "bond/nullable.h"

namespace korvane {

/// The kinds of value a `Variant` can hold. Also numbers the kinds of a table column.
enum class VariantKind : std::int32_t {
  kInt32 = 0,
  kDouble = 1,
  kString = 2,
  kBlob = 3,
  kBool = 4,
};

/// An open value: five independent optional members, not a tagged union. The one that is set gives
/// the kind; nothing stops a client from setting two.
struct Variant {
  bond::nullable<std::int32_t> value_int32;
  bond::nullable<double> value_double;
  bond::nullable<std::string> value_string;
  bond::nullable<bond::blob> value_blob;
  bond::nullable<bool> bool_;

  bool operator==(const Variant&) const = default;
};

/// The open extension point of a record. Keys are the client's; the store never looks inside.
using Properties = std::map<std::string, Variant>;

}  // namespace korvane
