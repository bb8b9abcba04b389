#pragma once

#include <string_view>

namespace korvane::server {

/// An example of each operation and route of a project, as the OpenAPI document has them: JSON text, made
/// of openapi_examples.json. They tell one story: what creates and adds comes first, and every other one is
/// of the project that this leaves.
std::string_view openapi_examples();

}  // namespace korvane::server
