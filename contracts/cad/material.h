#pragma once

#include <cstdint>
#include <string>

#include "bond/maybe.h"
#include "contracts/common/generic_reply.h"

namespace korvane::model::cad {

/// The names of a material.
struct Material_Identity {
  std::string name;
  std::string description;
  std::string keyword;
  std::string comment;

  bool operator==(const Material_Identity&) const = default;
};

/// The physical side of a material. Its first four fields have the ordinals of
/// `Material_Identity`.
struct Material_Physical {
  std::string name;
  std::string description;
  std::string keyword;
  std::string comment;
  double density = 0.0;

  bool operator==(const Material_Physical&) const = default;
};

/// A material of the catalogue. `id` and `uid` are the store's; the rest is the client's.
struct Material {
  std::int32_t id = -1;
  std::string uid;
  Material_Identity identity;
  Material_Physical physical;

  bool operator==(const Material&) const = default;
};

/// Names a material by `id`, by `uid` or by both. Every value that is set counts, 0, -1 and the
/// empty text included.
struct MaterialRef : GenericReply {
  bond::maybe<std::int32_t> id;
  bond::maybe<std::string> uid;

  bool operator==(const MaterialRef&) const = default;
};

/// The request of `list_materials`.
struct ListMaterials {
  bool operator==(const ListMaterials&) const = default;
};

}  // namespace korvane::model::cad
