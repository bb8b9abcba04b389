#pragma once

#include <string>
#include <vector>

#include "platform/rpc4/http.h"
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

using krv::rpc4::is_served_by_get;
using krv::rpc4::methods_of;
using krv::rpc4::operation_path;
using krv::rpc4::project_path;

/// "reads", "writes", "opens" or "queries".
std::string_view effect_name(krv::rpc4::Effect effect);

}  // namespace korvane::host
