#pragma once

#include <memory>
#include <string>

#include "platform/project_rpc/project_service.h"

/// Korvane's server for programs in C++: what a project in a file offers, over HTTP.
namespace korvane::client {

// The operations below name the contracts without their namespace.
using namespace model::cad;

/// A project on a server, found by its file's name, so that it outlives a restart of the server.
///
///     RemoteProject project("http://127.0.0.1:8420", "", "tower.db",
///                           RemoteProject::IfMissing::fail);
///     Batch<Sheet> sheets;
///     project.list_sheets({}, sheets);
///
/// Every operation of Project_Service is one POST in Compact Binary over a connection that is kept
/// open. It returns when the reply has come, for which it waits five minutes: a call may wait for
/// its turn and for a file that another program holds. Nothing is sent twice: after a failure to
/// reach the server an operation that writes may or may not have been done.
///
/// The constructor and every operation throw std::runtime_error:
///
/// - "<url>: <status> <detail>" for what the server refuses, such as
///   "http://127.0.0.1:8420: 404 no project tower.db"
/// - "cannot reach <url>: <reason>" when there is no connection, or none that can be trusted
/// - "<url>: the reply is longer than <number> bytes" above 512 MiB
///
/// and what decoding throws for a reply that is not a record of its contract. `reply` is then
/// unchanged, and the object can be used further.
///
/// Owns its connection. Used by one thread at a time; different objects by different threads.
class RemoteProject final : public Project_Service {
 public:
  /// What becomes of a file that is missing on the server.
  enum class IfMissing {
    fail,  ///< nothing: the operations fail with "404 no project <filename>"
    make,  ///< it is made by the constructor
  };

  /// The project in `filename`, a path in the folder of the server at `url`, which is
  /// "http://HOST:PORT" or "https://HOST:PORT". `id()` is `filename`. A server over https must have
  /// a certificate that the system's authorities vouch for. `token` is sent as bearer token unless
  /// it is empty.
  ///
  /// Sends a request only with `IfMissing::make`. Throws std::runtime_error "\"<url>\" is not the
  /// address of a server: expected http://HOST:PORT or https://HOST:PORT" as well.
  RemoteProject(const std::string& url, const std::string& token, const std::string& filename,
                IfMissing if_missing);
  ~RemoteProject();

  KORVANE_PROJECT_OPERATIONS(KORVANE_OVERRIDE_OPERATION)

 private:
  class Server;

  std::unique_ptr<Server> server_;
};

}  // namespace korvane::client
