#pragma once

#include <string>
#include <vector>

#include "platform/rpc4/operation.h"

namespace korvane::host {

/// How a client names the service that it calls.
enum class ServiceAddress {
  id,        ///< by an id that is always the same
  given_id,  ///< by an id that opening a project has given, in one run of the server
  file,      ///< by a project's file
};

/// A service that a client may call.
struct DescribedService {
  const krv::rpc4::ServiceDefinition* definition = nullptr;
  ServiceAddress address = ServiceAddress::id;
  /// The id that is always the same.
  std::string id = {};
};

/// The media types and methods of all operations as an OpenAPI 3.1 document
/// (https://spec.openapis.org/oas/v3.1.0), JSON text. Derived from the operation tables and from
/// the descriptions of their contracts.
std::string openapi_document(const std::vector<DescribedService>& services);

/// Whether the operation is served by GET as well: it never changes anything.
bool is_served_by_get(const krv::rpc4::Operation& operation);

/// The methods that an operation is served by: "GET", "HEAD", "POST", or the last alone.
std::vector<std::string> methods_of(const krv::rpc4::Operation& operation);

/// "reads", "writes", "opens" or "queries".
std::string_view effect_name(krv::rpc4::Effect effect);

/// The path of an operation of the project in a file, whose name becomes one segment of it.
std::string project_path(const std::string& file, std::string_view operation);

/// The path of an operation, from the id of its service as a segment of the path.
std::string operation_path(const std::string& service_segment, std::string_view operation);

}  // namespace korvane::host
