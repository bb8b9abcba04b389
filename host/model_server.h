#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <Poco/Net/ServerSocket.h>

#include "host/access/gate.h"
#include "host/access/project_root.h"
#include "host/http/server.h"
#include "host/service/mounted.h"
#include "host/service/server_state.h"

namespace korvane::host {

struct ModelServerLimits : ServerLimits {
  HttpLimits http;
};

/// Serves the live services over HTTP/1.1:
///
///     POST /v1/projects/{file}/{operation}  a call of a project's operation: the request as body,
///                                           the reply as answer; the file's name in the root,
///                                           percent-encoded; ?create=true lets a writing one make
///                                           the project
///     GET  …?request={json}                 the same, where it changes nothing
///     GET or POST /v1/projects/{file}/{name}  what is mounted beside the operations
///     GET  /v1/projects                     the project files in the root
///     POST /v1/{service_id}/{operation}     a call of a service by its id, and likewise GET
///     POST /v1/locks/{file}?order={word}    tries the locks of the root with another process
///     POST /v1/copies, /v1/copies/{file}    keep copies of another server's projects in the root
///     GET  /v1                              the live services and their operations
///     GET  /                                the page and its files, to everybody
///     GET  /v1/access                       who the client is, and what it may do
///     GET  /openapi.json                    all operations and contracts
///     GET  /schema/{file}                   a file of the contracts, as generators read them
///     GET  /healthz/live, /healthz/ready, /metrics
///
/// Bodies are JSON or bare Compact Binary by Content-Type, replies by Accept, else like the
/// request. Errors are RFC 9457 problem documents. Every reply has the fields `Korvane-Run` and
/// `Request-Id`.
///
/// What is held for requests is bounded for all together and for each client below that: bodies,
/// records, replies, calls that wait and run, connections.
///
/// The plugins' services are live before it is made and stopped after it has stopped: calls come to
/// them between these, and one at a time to each.
class ModelServer : private HttpHandler {
 public:
  /// Serves what `socket`, which listens, accepts. `root` is the process's current directory. The
  /// fence for SQL must have been installed before any project is opened. Throws std::runtime_error
  /// when the program's memory is not counted (call_memory.h).
  ModelServer(const Poco::Net::ServerSocket& socket, Gate gate, ProjectRoot root,
              const ModelServerLimits& limits, HttpServer::Encrypt encrypt = nullptr,
              Mounted mounted = {});
  ~ModelServer() override;

  /// Tells whoever asks for its readiness that it will stop, and has every reply close its
  /// connection. Goes on answering everything else until `stop`.
  void begin_drain();

  /// Accepts no more, and lets the requests that have come finish. False when calls still run by
  /// then: no plugin can be stopped beside them.
  bool stop(std::chrono::milliseconds deadline);

  /// From now on `gate` decides who may come in.
  void set_gate(Gate gate);

  /// Lets the calls finish that run or wait, and has others wait meanwhile; then calls
  /// `restart_plugins`, which restarts every plugin, and begins another run: ids that were given
  /// out are refused from then on. False, with all as it was, when calls still run by then. What
  /// `restart_plugins` throws passes.
  bool begin_run(std::chrono::milliseconds deadline, const std::function<void()>& restart_plugins);

  /// When connections were last looked after, which is some times a second while the server runs.
  std::chrono::steady_clock::time_point last_turn() const { return http_.last_turn(); }

  /// Connections that are there.
  std::size_t connections() const { return http_.connections(); }

  /// How many projects may be open.
  std::size_t most_projects() const { return state_.room.projects.most(); }

 private:
  std::unique_ptr<HttpExchange> begin(const HttpRequest& request) override;
  void refuse(const std::string& peer, HttpReply& reply) override;

  const ProjectRoot root_;
  ServerState state_;
  HttpServer http_;
};

}  // namespace korvane::host
