#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/rpc4/representation.h"

namespace korvane::host {

using krv::rpc4::Representation;

/// "application/json" and "application/x-bond-compact-binary".
std::string_view media_type(Representation representation);

/// The representation that a Content-Type names: nothing for Compact Binary in another version than
/// 1, as its parameter `version` says. Other parameters, such as a charset, are ignored.
std::optional<Representation> representation_of(const std::string& content_type);

/// The representation that an Accept field likes best (RFC 9110, section 12.5.1): `standard` where
/// it likes both alike or is empty, nothing where it takes neither.
std::optional<Representation> preferred_representation(const std::string& accept,
                                                       Representation standard);

}  // namespace korvane::host
