#pragma once

#include <string_view>

#include <nlohmann/json.hpp>

namespace korvane::host::openapi {

/// Adds examples to a document. `examples` is JSON text, an object whose members have the names of operations and
/// of mounted routes, the last segments of their paths; each may have
/// - "body", a request in JSON: the body, and the parameter `request` of a GET;
/// - "text", a body in text/plain;
/// - "query", values of parameters by their names;
/// - "reply", what is answered in JSON.
/// Those of operations that the document lacks are not used.
void add_examples(nlohmann::ordered_json& document, std::string_view examples);

}  // namespace korvane::host::openapi
