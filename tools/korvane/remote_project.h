#pragma once

#include <memory>
#include <string>

#include <Poco/Net/HTTPClientSession.h>

#include "platform/project_rpc/project_service.h"

namespace korvane::model::cad {

/// A project that a server has open. Each operation is one request, in Compact Binary. Used by one
/// thread at a time.
class RemoteProject final : public Project_Service {
 public:
  /// Opens `filename`, a path in the server's folder, on the server at `url`
  /// ("http://127.0.0.1:8420"); `token` is sent along unless it is empty. Throws std::runtime_error
  /// "<url>: <status> <detail>" for what the server refuses, there and in every operation, and for
  /// a server that cannot be reached.
  RemoteProject(const std::string& url, const std::string& token, const std::string& filename);
  ~RemoteProject();

  KORVANE_PROJECT_OPERATIONS(KORVANE_OVERRIDE_OPERATION)

 private:
  class Server;

  explicit RemoteProject(std::unique_ptr<Server> server, const std::string& filename);

  std::unique_ptr<Server> server_;
};

}  // namespace korvane::model::cad
