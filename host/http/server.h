#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/StreamSocket.h>

#include "host/http/message.h"

namespace korvane::host {

/// What is done with one request. Made, used and destroyed in the thread of its connection.
class HttpExchange {
 public:
  virtual ~HttpExchange() = default;

  /// Decides before the body is read whether to read it. Throws HttpFault to refuse.
  virtual void admit() = 0;

  /// Answers the request. Throws HttpFault.
  virtual HttpReply answer(const std::string& body) = 0;

  /// Told last, when the reply has been sent, or could not be: `is_sent`.
  virtual void served(const HttpReply& reply, std::chrono::nanoseconds duration, bool is_sent) = 0;
};

/// Answers requests. Every function is called from the connections' threads at once.
class HttpHandler {
 public:
  virtual ~HttpHandler() = default;

  /// `request` outlives the exchange. Throws nothing but for memory.
  virtual std::unique_ptr<HttpExchange> begin(const HttpRequest& request) = 0;

  /// Tells of a connection that was answered before there was a request: a header that is no HTTP,
  /// or a connection too many.
  virtual void refused(const std::string& peer, const HttpReply& reply) = 0;
};

struct HttpLimits {
  /// The request line and the header fields.
  std::size_t header_bytes = 64U << 10U;
  /// The body, counted while it is read.
  std::uint64_t body_bytes = 64U << 20U;
  /// All bodies that are held at a time.
  std::uint64_t all_body_bytes = 512U << 20U;
  std::size_t connections = 2000;
  /// How long a connection may stay without a request.
  std::chrono::milliseconds idle_time = std::chrono::seconds(60);
  /// How long a request may take to arrive, from its first byte to its last, and a reply to leave.
  std::chrono::milliseconds transfer_time = std::chrono::seconds(60);
};

/// An HTTP/1.1 server: a thread for accepting, and one for each connection.
///
/// Refuses by itself, and closes the connection after: a header that cannot be read 400, one that
/// is too large 431 (414 for its first line), a request that does not arrive in time 408, a body
/// that is too large 413, another version 505, a transfer coding that it does not know 501, a
/// connection too many and a body that does not fit beside all others 503.
class HttpServer {
 public:
  /// Serves the connections that `socket` accepts; it listens already. `handler` outlives the
  /// server.
  HttpServer(const Poco::Net::ServerSocket& socket, HttpHandler& handler, const HttpLimits& limits);
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;
  /// Stops accepting, cuts every connection and waits for their threads.
  ~HttpServer();

  /// Stops accepting and closes the idle connections. Those that have begun a request finish it.
  void stop_accepting();

  /// Waits until all connections are closed, and shuts those that are overdue meanwhile. Call it
  /// after `stop_accepting`. False when some are left by then.
  bool wait_for_connections(std::chrono::milliseconds deadline);

  std::size_t connections() const;

 private:
  class BodyBytes;
  class Connection;
  class Watch;

  bool is_stopping() const;
  void accept_connections();
  /// Counts one connection more, unless there are too many.
  bool enter();
  /// The connection's thread becomes the socket's only owner.
  void start_connection(std::unique_ptr<Poco::Net::StreamSocket> socket);
  void refuse_connection(Poco::Net::StreamSocket& socket);
  /// With the lock held.
  void shut_overdue_connections();

  Poco::Net::ServerSocket socket_;
  HttpHandler& handler_;
  const HttpLimits limits_;
  mutable std::mutex mutex_;
  std::condition_variable connection_has_closed_;
  std::list<Watch*> watches_;
  std::size_t connections_ = 0;
  std::atomic<std::uint64_t> held_body_bytes_ = 0;
  bool is_stopping_ = false;
  std::thread acceptor_;
};

}  // namespace korvane::host
