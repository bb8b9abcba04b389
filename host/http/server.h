#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
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

  /// The client that sent the request; empty where it need not be known. Asked after `admit`.
  virtual const std::string& client() const = 0;

  /// Told how many bytes the request's body is about to hold in memory. Throws HttpFault to refuse.
  virtual void hold_body(std::uint64_t bytes) = 0;

  /// Answers the request. Throws HttpFault.
  virtual HttpReply answer(const std::string& body) = 0;

  /// Adds what every reply has, whoever made it.
  virtual void complete(HttpReply& reply) = 0;

  /// Told last, when the reply has been sent, or could not be: `is_sent`.
  virtual void served(const HttpReply& reply, std::chrono::nanoseconds duration, bool is_sent) = 0;
};

/// Answers requests. Every function is called from the connections' threads at once.
class HttpHandler {
 public:
  virtual ~HttpHandler() = default;

  /// `request` outlives the exchange. Throws only std::bad_alloc.
  virtual std::unique_ptr<HttpExchange> begin(const HttpRequest& request) = 0;

  /// Completes and takes note of the reply on a connection that is answered before there was a
  /// request: a header that is not HTTP, or a connection too many.
  virtual void refuse(const std::string& peer, HttpReply& reply) = 0;
};

struct HttpLimits {
  /// The request line and the header fields.
  std::size_t header_bytes = 64U << 10U;
  /// The body, counted while it is read.
  std::uint64_t body_bytes = 64U << 20U;
  /// Connections at a time, three quarters of them of one client. Where there are so many, the
  /// oldest one that is at rest is closed for a new one, of the client that has most. With none at
  /// rest a new one is answered a check of the server's health, and nothing else.
  std::size_t connections = 2000;
  /// How long a connection may stay without a request.
  std::chrono::milliseconds idle_time = std::chrono::seconds(60);
  /// How long a request may take to arrive, from its first byte to its last, and a reply to leave.
  std::chrono::milliseconds transfer_time = std::chrono::seconds(60);
};

/// An HTTP/1.1 server: a thread for accepting, and one for each connection.
///
/// Refuses by itself: what request_parser.h names, a request that does not arrive in time 408, a
/// client's connection too many 429, a connection too many 503. A connection whose request had no
/// body, or had it read, stays open.
class HttpServer {
 public:
  /// Turns a connection that was accepted into an encrypted one. Called on the connection's thread.
  using Encrypt = std::function<Poco::Net::StreamSocket(const Poco::Net::StreamSocket&)>;

  /// Serves the connections that `socket` accepts; it listens already. `handler` outlives the
  /// server. Without `encrypt` connections stay plain.
  HttpServer(const Poco::Net::ServerSocket& socket, HttpHandler& handler, const HttpLimits& limits,
             Encrypt encrypt = nullptr);
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;
  /// Stops accepting, cuts every connection and waits for their threads, however long one takes.
  ~HttpServer();

  /// From now on every reply closes its connection, so that its client makes the next one elsewhere.
  /// Nothing else changes: an idle connection stays, as a request may be on its way there, and new
  /// ones are accepted. A request that came together with the one before is answered first.
  void begin_drain() { is_draining_ = true; }

  /// Accepts the connections that wait and no more, and closes those that are idle. Those that have
  /// begun a request finish it, and those that are new have a second to send one.
  void stop_accepting();

  /// Waits until all connections are closed, and shuts those that are overdue meanwhile. Call it
  /// after `stop_accepting`. False when some are left by then.
  bool wait_for_connections(std::chrono::milliseconds deadline);

  /// Cuts the connections that are left. Their threads notice soon.
  void cut_connections();

  std::size_t connections() const;

  /// When the thread that accepts last went round, which it does some times a
  /// second.
  std::chrono::steady_clock::time_point last_turn() const { return last_turn_; }

 private:
  class Connection;
  class Watch;

  /// What becomes of a connection that has been accepted.
  enum class Entry { admitted, beyond_limit, refused };

  void accept_connections();
  /// What is still in the socket's queue would be reset when it closes.
  void accept_waiting();
  /// Counts one connection more.
  Entry enter();
  /// The connection's thread becomes the socket's only owner.
  void start_connection(std::unique_ptr<Poco::Net::StreamSocket> socket);
  void refuse_connection(Poco::Net::StreamSocket& socket);
  // With the lock held:
  template <class Action>
  void for_each_state(Action action);
  void shut_overdue_connections();
  /// The connection at rest that is closed first; null when there is none.
  Watch* find_at_rest();
  /// Closes a connection that is at rest. False when there is none.
  bool make_room();

  Poco::Net::ServerSocket socket_;
  HttpHandler& handler_;
  const HttpLimits limits_;
  const Encrypt encrypt_;
  mutable std::mutex mutex_;
  std::condition_variable connection_has_closed_;
  std::list<Watch*> watches_;
  /// How many each owner has: a client, or an address as long as no client is known.
  std::map<std::string, std::size_t> connections_of_owners_;
  std::size_t connections_ = 0;
  std::atomic<bool> is_draining_ = false;
  std::atomic<bool> is_stopping_ = false;
  std::atomic<std::chrono::steady_clock::time_point> last_turn_ = std::chrono::steady_clock::now();
  /// Replies that are being compressed.
  std::atomic<int> compressions_ = 0;
  std::thread acceptor_;
};

}  // namespace korvane::host
