#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <type_traits>

#include "contracts/cad/contracts.h"
#include "contracts/encoding/json_text.h"

namespace korvane::schedule {

/// What a record is called in a document: one of them, and a list of them.
struct DocumentName {
  std::string_view one;
  std::string_view list;
};

template <class T>
inline constexpr DocumentName kDocumentName{};
template <>
inline constexpr DocumentName kDocumentName<model::cad::ProjectData>{"project", {}};
template <>
inline constexpr DocumentName kDocumentName<model::cad::Material>{"material", "materials"};
template <>
inline constexpr DocumentName kDocumentName<model::cad::FabricType>{"fabric_type", "fabric_types"};
template <>
inline constexpr DocumentName kDocumentName<model::cad::Sheet>{"sheet", "sheets"};
template <>
inline constexpr DocumentName kDocumentName<model::cad::Revision>{"revision", "revisions"};
template <>
inline constexpr DocumentName kDocumentName<model::cad::Rebar>{"bar", "bars"};
template <>
inline constexpr DocumentName kDocumentName<model::cad::Fabric>{"fabric", "fabrics"};
template <>
inline constexpr DocumentName kDocumentName<model::cad::BarSpacer>{"bar_spacer", "bar_spacers"};
template <>
inline constexpr DocumentName kDocumentName<model::cad::MountingPart>{"mounting_part",
                                                                      "mounting_parts"};

/// By which a person finds a record.
inline const std::string& own_name(const model::cad::Material& record) {
  return record.identity.name;
}
inline const std::string& own_name(const model::cad::FabricType& record) {
  return record.type_name;
}
template <class T>
requires requires(const T& record) {
  record.name;
  record.uid;
}
const std::string& own_name(const T& record) { return record.name; }
template <class T>
requires requires(const T& record) { record.mark; }
const std::string& own_name(const T& record) { return record.mark; }

/// `fabric type "Q257"`, for messages.
template <class T>
std::string name_for_people(const T& record) {
  std::string name(kDocumentName<T>.one);
  std::replace(name.begin(), name.end(), '_', ' ');
  if constexpr (!std::is_same_v<T, model::cad::ProjectData>) {
    name += " " + encoding::detail::shown(own_name(record));
  }
  return name;
}

}  // namespace korvane::schedule
