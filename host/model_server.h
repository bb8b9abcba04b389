#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <Poco/Net/ServerSocket.h>

#include "host/delivery.h"
#include "host/gate.h"
#include "host/http/server.h"
#include "host/metrics.h"
#include "host/project_root.h"
#include "host/sql_fence.h"

namespace korvane::host {

struct ModelServerLimits {
  DeliveryLimits delivery;
  HttpLimits http;
  /// What holds for SQL of clients without the scope `sql`.
  SqlFenceLimits query;
  /// What any other call may take, whatever the project file makes of it. Longer than a session
  /// waits for another program's lock. Rows and bytes do not hold for calls that write, which read
  /// no more than their request asks for.
  SqlFenceLimits call{
      .time = std::chrono::seconds(120),
      .rows = 1'000'000,
      .bytes = std::int64_t{256} * 1024 * 1024,
      .length = 128 * 1024 * 1024,
      .access = SqlAccess::everything,
  };
  /// The rows that such a query is answered with; the rest is cut off.
  std::size_t query_rows = 10'000;
  std::size_t open_projects = 100;
  /// Requests of one client that are in work at a time.
  std::size_t requests_per_client = 256;
};

/// Serves the live services over HTTP/1.1:
///
///     POST /v1/{service_id}/{operation}     a call: the request as body, the reply as answer
///     GET  /v1/{service_id}/{operation}?request={json}     the same, where it changes nothing
///     GET  /v1                              the live services and their operations
///     GET  /openapi.json                    all operations and contracts
///     GET  /healthz/live, /healthz/ready, /metrics
///
/// Bodies are JSON or bare Compact Binary by Content-Type, replies by Accept, else like the
/// request. Errors are RFC 9457 problem documents.
///
/// The plugins' services are live before it is made and stopped after it has stopped: calls come to
/// them between these, and one at a time to each.
class ModelServer : private HttpHandler {
 public:
  /// Serves what `socket`, which listens, accepts. `root` is the process's current directory. The
  /// fence for SQL must have been installed before any project is opened.
  ModelServer(const Poco::Net::ServerSocket& socket, Gate gate, ProjectRoot root,
              const ModelServerLimits& limits);
  ~ModelServer() override;

  /// Accepts no more, and lets the requests that have come finish. False when calls still run by
  /// then: no plugin can be stopped beside them.
  bool stop(std::chrono::milliseconds deadline);

 private:
  class Exchange;

  std::unique_ptr<HttpExchange> begin(const HttpRequest& request) override;
  void refused(const std::string& peer, const HttpReply& reply) override;

  /// Counts a request of that client. Throws HttpFault 429.
  void enter_request(const std::string& client);
  void leave_request(const std::string& client);

  /// Opens the project of `file`, and keeps count of those that are open. In the manager's turn.
  bond::blob open_project(const krv::rpc4::Operation& operation,
                          const krv::rpc4::LiveService& service, const std::string& file,
                          const krv::rpc4::PeerInfo& peer);
  bool is_open(const std::string& file) const;

  std::string metrics_text();

  const Gate gate_;
  const ProjectRoot root_;
  const ModelServerLimits limits_;
  const std::string openapi_;
  Metrics metrics_;
  mutable std::mutex mutex_;
  std::map<std::string, std::size_t> requests_of_clients_;
  /// The ids of the services by the file that each was opened for.
  std::map<std::string, std::string> open_projects_;
  bool is_stopping_ = false;
  Delivery delivery_;
  HttpServer http_;
};

}  // namespace korvane::host
