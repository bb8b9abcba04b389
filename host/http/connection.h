#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include <Poco/Net/StreamSocket.h>

#include "host/http/connection_state.h"
#include "host/http/message.h"
#include "host/http/server.h"
#include "host/http/stream.h"

namespace korvane::host {

/// Makes the state of a connection known to the server for as long as this lives.
class HttpServer::Watch {
 public:
  Watch(HttpServer& server, int descriptor, const std::string& address)
      : server_(server), state_(descriptor), owner_name_(address) {
    const std::lock_guard lock(server_.mutex_);
    server_.watches_.push_back(this);
    place_ = std::prev(server_.watches_.end());
    enter();
  }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
  ~Watch() {
    const std::lock_guard lock(server_.mutex_);
    leave();
    server_.watches_.erase(place_);
  }

  /// Has `action` work on the state. Any thread may, also with the server's lock held.
  template <class Action>
  auto with_state(Action action) {
    const std::lock_guard lock(state_mutex_);
    return action(state_);
  }

  /// Counts as the client's from now on. Returns how many connections the client has then, and
  /// nothing where it counted as the client's before. On the connection's thread.
  std::optional<std::size_t> become(const std::string& client) {
    if (client == owner_name_) return std::nullopt;
    std::string name = client;
    const std::lock_guard lock(server_.mutex_);
    // Before it leaves: there may be no memory for it.
    const auto owner = server_.connections_of_owners_.try_emplace(client).first;
    leave();
    owner_name_ = std::move(name);
    owner_ = owner;
    return ++owner_->second;
  }
  /// How many connections its owner has. With the server's lock held.
  std::size_t siblings() const { return owner_->second; }

 private:
  void enter() {
    owner_ = server_.connections_of_owners_.try_emplace(owner_name_).first;
    ++owner_->second;
  }
  void leave() {
    if (--owner_->second == 0) server_.connections_of_owners_.erase(owner_);
  }

  HttpServer& server_;
  std::mutex state_mutex_;
  ConnectionState state_;
  std::string owner_name_;
  std::list<Watch*>::iterator place_;
  std::map<std::string, std::size_t>::iterator owner_;
};

/// One connection, in its own thread.
class HttpServer::Connection {
 public:
  /// `is_beyond_limit`: it may send one request, and must do so soon.
  Connection(HttpServer& server, const Poco::Net::StreamSocket& socket, bool is_beyond_limit);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() = default;

  /// Serves its requests until there are no more. Throws when the connection breaks off.
  void run();

 private:
  const HttpLimits& limits() const { return server_.limits_; }

  /// Waits for the next request; false when there is to be none.
  bool wait_for_request();
  bool is_overdue();
  HttpFault overdue() const;

  /// Serves one request. False when it is the connection's last.
  bool serve_request();
  /// Counts the connection as the client's from now on, unless the name is empty. Throws HttpFault
  /// 429 if the client has too many.
  void enter_as(const std::string& client);
  bool refuse(const HttpFault& fault);
  bool send(const HttpReply& reply, bool keeps_alive, bool is_head_only);
  bool send_compressed(const HttpReply& reply, bool keeps_alive);
  /// For a while reads and drops what still comes: closing with bytes unread resets the connection,
  /// and the other end would lose the reply.
  void linger();

  HttpServer& server_;
  const int descriptor_;
  const bool is_beyond_limit_;
  /// The connection is closed after the reply.
  bool is_last_request_;
  /// It has not waited for a request.
  bool is_new_ = true;
  const std::string peer_;
  Watch watch_;
  Stream stream_;
  ConnectionState::Clock::time_point started_;
};

}  // namespace korvane::host
