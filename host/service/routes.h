#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/access/tokens.h"
#include "host/http/message.h"
#include "host/service/documents.h"
#include "host/service/target.h"
#include "platform/rpc4/http.h"
#include "platform/rpc4/operation.h"

/// What is served where. Dispatch and the OpenAPI document follow this one table.
namespace korvane::host {

/// How the OpenAPI document describes a route that is not of operations.
struct RouteDescription {
  const char* tag;
  const char* id;
  const char* text;
  const char* reply;
  /// Of the components, the schema of the reply.
  const char* schema;
};

/// Whose operations a route leads to.
enum class Callees { none, project_files, service_ids };

struct Route {
  /// A name in braces is a place, which any segment takes that no other route has there.
  std::string_view path;
  /// What a request counts as; of a route to operations until the operation is known.
  const char* metric;
  /// Served to everybody, also when connections have run out.
  bool is_open;
  /// Whoever has one of these may come in; with none, every client. Operations ask for their own.
  Scopes scopes;
  /// Null for a route to operations.
  Document document;
  Callees callees = Callees::none;
  /// Nothing for what is not for clients of projects: what looks after the server reads, and the words
  /// by which korvane itself tries locks, which may be others in the next version. What is described
  /// ends up in every client that is generated.
  std::optional<RouteDescription> description = std::nullopt;
  /// By POST, not by GET.
  bool is_posted = false;
  /// Whether its document is given the request's body.
  bool reads_body = false;
};

std::span<const Route> routes();

/// The route to the operations of those callees.
const Route& route_to(Callees callees);

/// The open route of exactly that path, or null.
const Route* find_open_route(const std::string& path);

struct FoundRoute {
  const Route& route;
  /// What stands in the places, decoded, in their order.
  std::vector<std::string> places;
};

/// The route of a target. Throws HttpFault 404 where nothing is served, and 400 for a path that is
/// malformed.
FoundRoute find_route(const Target& target);

using krv::rpc4::is_served_by_get;
using krv::rpc4::methods_of;
using krv::rpc4::operation_path;
using krv::rpc4::project_path;

/// The methods of a document.
const std::vector<std::string>& document_methods();
std::vector<std::string> methods_of(const Route& route);

/// Throws HttpFault 405 unless the request's method is one of `allowed`.
void require_method(const HttpRequest& request, const std::vector<std::string>& allowed);

/// Whoever has one of them may call an operation of that effect.
Scopes scopes_of(krv::rpc4::Effect effect);

/// "reads", "writes", "opens" or "queries".
std::string_view effect_name(krv::rpc4::Effect effect);

}  // namespace korvane::host
