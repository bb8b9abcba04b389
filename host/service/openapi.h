#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/service/mounted.h"
#include "host/service/routes.h"
#include "platform/rpc4/operation.h"

namespace korvane::host {

/// A service that a client may call.
struct DescribedService {
  const krv::rpc4::ServiceDefinition* definition = nullptr;
  /// How the client names it: by a project's file, or by its id.
  Callees callees = Callees::service_ids;
  /// The id that is always the same; none for services that get one when they are opened.
  std::optional<std::string> id = std::nullopt;
};

/// Projects by their files first, then the services that are live now by their ids, last those that
/// get an id when they are opened.
std::vector<DescribedService> described_services();

/// The forms of bodies that a document tells of.
enum class Edition {
  /// All that are served.
  whole,
  /// Where a body can be JSON, no other, except in what a mounted route takes. Generators of clients
  /// make one type of each body then.
  json,
  /// The same in OpenAPI 3.0, which is all that some generators read.
  json_3_0,
};

/// The routes, media types and methods of all operations as an OpenAPI document, of 3.1
/// (https://spec.openapis.org/oas/v3.1.0) unless the edition is of 3.0, JSON text. Derived from the routes, the operation tables
/// and the descriptions of their contracts. What is mounted comes last. `examples` are as
/// openapi::add_examples takes them; empty for none.
std::string openapi_document(const std::vector<DescribedService>& services,
                             const std::vector<MountedRoute>& mounted = {},
                             Edition edition = Edition::whole, std::string_view examples = {});

}  // namespace korvane::host
