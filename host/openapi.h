#pragma once

#include <string>
#include <vector>

#include "platform/rpc4/operation.h"

namespace korvane::host {

/// A service that a client may call.
struct DescribedService {
  const krv::rpc4::ServiceDefinition* definition = nullptr;
  /// Its id, where one service stands for the definition; empty where the id is told at run time.
  std::string id;
};

/// The media types and methods of all operations as an OpenAPI 3.1 document
/// (https://spec.openapis.org/oas/v3.1.0), JSON text. Derived from the operation tables and from
/// the descriptions of their contracts.
std::string openapi_document(const std::vector<DescribedService>& services);

/// Whether the operation is served by GET as well: it never changes anything.
bool is_served_by_get(const krv::rpc4::Operation& operation);

/// "reads", "writes", "opens" or "queries".
std::string_view effect_name(krv::rpc4::Effect effect);

/// The path of an operation, from the id of its service as a segment of the path.
std::string operation_path(const std::string& service_segment, std::string_view operation);

}  // namespace korvane::host
