#pragma once

#include <memory>
#include <string>

#include <Poco/Net/HTTPClientSession.h>

#include "platform/project_rpc/project_service.h"

namespace korvane::model::cad {

/// A project on a server, by its address, which outlives the server's runs. Each operation is one
/// request, in Compact Binary. Used by one thread at a time.
class RemoteProject final : public Project_Service {
 public:
  /// What becomes of a file that is not there.
  enum class IfMissing { fail, make };

  /// The project in `filename`, a path in the folder of the server at `url`
  /// ("http://127.0.0.1:8420"); `token` is sent along unless it is empty. The service's id is the
  /// file's name. Makes the file at once if it is to be made. Throws std::runtime_error
  /// "<url>: <status> <detail>" for what the server refuses, there and in every operation, such as
  /// "no project <filename>", and for a server that cannot be reached.
  RemoteProject(const std::string& url, const std::string& token, const std::string& filename,
                IfMissing if_missing);
  ~RemoteProject();

  KORVANE_PROJECT_OPERATIONS(KORVANE_OVERRIDE_OPERATION)

 private:
  class Server;

  std::unique_ptr<Server> server_;
};

}  // namespace korvane::model::cad
