#pragma once

#include <string_view>

#include "host/access/tokens.h"
#include "host/http/message.h"

namespace korvane::host {

struct ServerState;

/// Who asks a server for a document.
struct DocumentRequest {
  ServerState& server;
  const HttpRequest& request;
  const Client& client;
  /// Empty but for a route that reads it.
  std::string_view body = {};
};

/// What is served and is not a call of an operation. Throws HttpFault.
using Document = HttpReply (*)(const DocumentRequest& request);

/// "live", while the process runs.
HttpReply live_document(const DocumentRequest& request);
/// "ready", while the server takes requests.
HttpReply ready_document(const DocumentRequest& request);
/// What the server measures of itself.
HttpReply metrics_document(const DocumentRequest& request);
/// All operations and contracts; with `?media=json` the edition for generators of clients, and with
/// `?edition=3.0` that for those that read OpenAPI 3.0 alone.
HttpReply openapi_document_of_server(const DocumentRequest& request);
/// One file of the contracts in their definition language.
HttpReply schema_document(const DocumentRequest& request);
/// Who the client is, and its scopes.
HttpReply access_document(const DocumentRequest& request);
/// The live services and their operations.
HttpReply services_document(const DocumentRequest& request);
/// The project files in the server's folder.
HttpReply projects_document(const DocumentRequest& request);
/// By POST: tries the locks of the folder together with another process.
HttpReply locks_document(const DocumentRequest& request);
/// By POST: has a copy of another server's project made or renewed, or all copies told of.
HttpReply copies_document(const DocumentRequest& request);

}  // namespace korvane::host
