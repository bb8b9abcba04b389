#pragma once

#include <nlohmann/json.hpp>

namespace korvane::host::openapi {

/// Rewrites a document of OpenAPI 3.1 for generators that read 3.0 alone
/// (https://spec.openapis.org/oas/v3.0.3), in whose schemas:
/// - what may be null says so by `nullable`: a record that may be null somewhere everywhere, an enumeration
///   that may be null by being any text,
/// - a value of several types has no type at all,
/// - an enumeration has its names only, though its values may be sent and come as numbers too,
/// - base64 is the format "byte",
/// - a list has one schema for all its items,
/// - a reference has nothing beside it.
///
/// What 3.1 alone can say and korvane does not is left as it is.
void rewrite_as_3_0(nlohmann::ordered_json& document);

}  // namespace korvane::host::openapi
