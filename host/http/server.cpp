#include "host/http/server.h"

#include <algorithm>
#include <csignal>
#include <exception>
#include <limits>
#include <map>
#include <poll.h>
#include <sstream>
#include <string_view>
#include <sys/socket.h>
#include <system_error>
#include <utility>

#include <Poco/Net/HTTPResponse.h>
#include <Poco/Timespan.h>

#include "host/http/connection_state.h"
#include "host/http/request_reader.h"
#include "host/http/stream.h"

namespace korvane::host {

using Clock = std::chrono::steady_clock;
using Poco::Net::HTTPMessage;
using Poco::Net::HTTPRequest;
using Poco::Net::HTTPResponse;
using Poco::Net::StreamSocket;

namespace {

/// How often overdue connections are looked for, and so how late they may be shut.
constexpr std::chrono::milliseconds kTick{50};
/// How long a refused request is still read, so that its sender gets to see the reply.
constexpr std::chrono::milliseconds kLingerTime{1000};
/// How long a connection beyond the limit has for its one request.
constexpr std::chrono::milliseconds kBriefTime{2000};
/// Connections beyond the limit: those that others make room for, and those that only ask how the
/// server is.
constexpr std::size_t kSpareConnections = 64;
/// Smaller bodies leave together with their header.
constexpr std::size_t kSmallBody = 64U << 10U;

Poco::Timespan timespan(std::chrono::milliseconds time) {
  return {std::chrono::duration_cast<std::chrono::microseconds>(time).count()};
}

/// What one client may have of `all`.
std::size_t share_of(std::size_t all) { return std::max<std::size_t>(1, all - all / 4); }

std::string header_text(const HttpReply& reply, bool keeps_alive) {
  HTTPResponse head(HTTPMessage::HTTP_1_1, static_cast<HTTPResponse::HTTPStatus>(reply.status));
  head.setDate(Poco::Timestamp());
  head.setKeepAlive(keeps_alive);
  head.setContentType(reply.content_type);
  head.setContentLength64(static_cast<Poco::Int64>(reply.body_bytes()));
  head.set("Cache-Control", "no-store");
  head.set("X-Content-Type-Options", "nosniff");
  for (const auto& [name, value] : reply.fields) head.set(name, value);
  std::ostringstream text;
  head.write(text);
  return text.str();
}

/// A write to a connection that the other end has closed is an error to look at, not a signal.
void block_broken_pipe_signal() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

/// Whether the other end has closed its side, or all.
bool is_closed(int descriptor) {
  pollfd one{descriptor, POLLRDHUP, 0};
  return ::poll(&one, 1, 0) == 1 && (one.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
}

}  // namespace

/// The state of a connection, which the server knows as long as this lives.
class HttpServer::Watch {
 public:
  Watch(HttpServer& server, int descriptor, const std::string& address)
      : state(descriptor), server_(server) {
    const std::lock_guard lock(server_.mutex_);
    const auto owner = server_.connections_of_owners_.try_emplace(address).first;
    server_.watches_.push_back(this);
    place_ = std::prev(server_.watches_.end());
    enter(owner);
  }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
  ~Watch() {
    const std::lock_guard lock(server_.mutex_);
    leave();
    server_.watches_.erase(place_);
  }

  // With the server's lock held:
  ConnectionState state;
  /// The connections of its owner.
  std::size_t siblings() const { return owner_->second; }
  /// It is the client's from now on; with an empty name it stays whose it is. Returns whether its
  /// owner is another one than before.
  bool become(const std::string& client) {
    if (client.empty() || client == owner_->first) return false;
    const auto owner = server_.connections_of_owners_.try_emplace(client).first;
    leave();
    enter(owner);
    return true;
  }

 private:
  using Owners = std::map<std::string, std::size_t>;

  void enter(Owners::iterator owner) {
    owner_ = owner;
    ++owner_->second;
  }
  void leave() {
    if (--owner_->second == 0) server_.connections_of_owners_.erase(owner_);
  }

  HttpServer& server_;
  std::list<Watch*>::iterator place_;
  Owners::iterator owner_;
};

/// One connection, in its own thread.
class HttpServer::Connection {
  template <class Action>
  auto with_state(Action action) {
    const std::lock_guard lock(server_.mutex_);
    return action(watch_.state);
  }

 public:
  Connection(HttpServer& server, const StreamSocket& socket, bool is_beyond_limit)
      : server_(server),
        descriptor_(socket.impl()->sockfd()),
        is_beyond_limit_(is_beyond_limit),
        peer_(socket.peerAddress().toString()),
        watch_(server, descriptor_, peer_.substr(0, peer_.rfind(':'))),
        stream_(server.encrypt_ ? server.encrypt_(socket) : socket) {
    stream_.socket().setNoDelay(true);  // a reply's last piece would wait for the others' receipt
  }

  void run() {
    while (begin_idle() && stream_.has_data(is_beyond_limit_ ? kBriefTime : limits().idle_time)) {
      started_ = Clock::now();
      with_state([&](ConnectionState& state) {
        state.begin_reading(is_beyond_limit_ ? kBriefTime : limits().transfer_time);
      });
      if (!serve_request() || is_beyond_limit_) break;
    }
  }

 private:
  const HttpLimits& limits() const { return server_.limits_; }

  /// False when there shall be no more requests.
  bool begin_idle() {
    return with_state([&](ConnectionState& state) {
      state.begin_idle();
      return !server_.is_stopping_;
    });
  }

  bool is_overdue() {
    return with_state([](const ConnectionState& state) { return state.is_overdue(); });
  }

  /// Serves one request. False when it is the connection's last.
  bool serve_request() {
    HttpRequest request;
    request.peer = peer_;
    request.is_encrypted = server_.encrypt_ != nullptr;
    request.is_beyond_limit = is_beyond_limit_;
    request.has_client_gone = [this] { return is_closed(descriptor_); };
    try {
      request.head = read_request_header(stream_, limits().header_bytes);
    } catch (const HttpFault& fault) {
      return refuse(fault);
    } catch (const ConnectionEnd&) {
      if (is_overdue()) refuse(overdue());
      return false;
    }

    std::unique_ptr<HttpExchange> exchange = server_.handler_.begin(request);
    bool is_body_left = has_body(request.head);
    bool may_go_on = true;
    HttpReply reply;
    try {
      exchange->admit();
      may_go_on = false;
      enter_as(exchange->client());
      may_go_on = true;
      const std::string body =
          read_request_body(stream_, request.head, {limits().body_bytes, limits().header_bytes},
                            [&](std::uint64_t bytes) { exchange->hold_body(bytes); });
      is_body_left = false;
      with_state([](ConnectionState& state) { state.begin_answering(); });
      reply = exchange->answer(body);
    } catch (const HttpFault& fault) {
      reply = problem_reply(fault);
    } catch (const ConnectionEnd&) {
      reply = problem_reply(is_overdue() ? overdue() : HttpFault(400, "the body broke off"));
    } catch (const std::exception&) {
      reply = problem_reply({500, "the request could not be answered"});  // no memory, most likely
    }
    exchange->complete(reply);
    const bool keeps_alive = !is_body_left && may_go_on && !is_beyond_limit_ &&
                             request.head.getKeepAlive() && !server_.is_stopping();
    const bool is_sent = send(reply, keeps_alive, request.head.getMethod() == "HEAD");
    exchange->served(reply, Clock::now() - started_, is_sent);
    reply = {};        // it may hold what is counted among its client's
    exchange.reset();  // and so may this
    request = {};      // as long as nothing is read, it is all that the connection holds
    if (is_sent && is_body_left) linger();
    return is_sent && keeps_alive;
  }

  /// The connection is the client's from now on. Throws HttpFault 429 if it has too many.
  void enter_as(const std::string& client) {
    const bool is_too_many = with_state([&](ConnectionState& state) {
      state.admit();
      return watch_.become(client) && watch_.siblings() > share_of(limits().connections);
    });
    if (!is_too_many) return;
    throw HttpFault(429, "too many connections of \"" + client + "\" at a time",
                    {{"Retry-After", "1"}});
  }

  HttpFault overdue() const {
    return {408, "the request did not arrive within " +
                     std::to_string(limits().transfer_time.count()) + " ms"};
  }

  bool refuse(const HttpFault& fault) {
    HttpReply reply = problem_reply(fault);
    server_.handler_.refuse(peer_, reply);
    if (send(reply, false, false)) linger();
    return false;
  }

  bool send(const HttpReply& reply, bool keeps_alive, bool is_head_only) {
    try {
      with_state([&](ConnectionState& state) { state.begin_writing(limits().transfer_time); });
      std::string text = header_text(reply, keeps_alive);
      const bool is_small = !reply.stream_body && reply.body.size() < kSmallBody;
      if (is_small && !is_head_only) text += reply.body;
      stream_.write_all(text);
      if (is_small || is_head_only) return true;
      if (reply.stream_body) {
        reply.stream_body([&](std::string_view piece) { stream_.write_all(piece); });
      } else {
        stream_.write_all(reply.body);
      }
      return true;
    } catch (const std::exception&) {
      return false;  // the other end has gone, or there is no memory for the rest
    }
  }

  /// Reads on for a while what nobody wants: closing with bytes unread resets the connection, and
  /// the other end would lose the reply.
  void linger() {
    stream_.socket().shutdownSend();
    const auto end = Clock::now() + kLingerTime;
    std::string ignored;
    try {
      for (auto now = Clock::now(); now < end; now = Clock::now()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - now);
        if (!stream_.has_data(left)) return;
        stream_.read_some(ignored, std::numeric_limits<std::size_t>::max());
        ignored.clear();
      }
    } catch (const ConnectionEnd&) {
      return;
    }
  }

  HttpServer& server_;
  const int descriptor_;
  const bool is_beyond_limit_;
  const std::string peer_;
  Watch watch_;
  Stream stream_;
  Clock::time_point started_;
};

HttpServer::HttpServer(const Poco::Net::ServerSocket& socket, HttpHandler& handler,
                       const HttpLimits& limits, Encrypt encrypt)
    : socket_(socket), handler_(handler), limits_(limits), encrypt_(std::move(encrypt)) {
  acceptor_ = std::thread([this] { accept_connections(); });
}

HttpServer::~HttpServer() {
  stop_accepting();
  std::unique_lock lock(mutex_);
  for (Watch* const watch : watches_) watch->state.shut();
  connection_has_closed_.wait(lock, [&] { return connections_ == 0; });
}

void HttpServer::stop_accepting() {
  {
    const std::lock_guard lock(mutex_);
    is_stopping_ = true;
    for (Watch* const watch : watches_) watch->state.shut_if_idle();
  }
  // Wakes the acceptor, which closes it; new connections are refused from now on.
  ::shutdown(socket_.impl()->sockfd(), SHUT_RDWR);
  if (acceptor_.joinable()) acceptor_.join();
}

bool HttpServer::wait_for_connections(std::chrono::milliseconds deadline) {
  const Clock::time_point end = Clock::now() + deadline;
  std::unique_lock lock(mutex_);
  for (;;) {
    const Clock::time_point tick = std::min(end, Clock::now() + kTick);
    if (connection_has_closed_.wait_until(lock, tick, [&] { return connections_ == 0; })) {
      return true;
    }
    if (tick == end) return false;
    shut_overdue_connections();
  }
}

std::size_t HttpServer::connections() const {
  const std::lock_guard lock(mutex_);
  return connections_;
}

bool HttpServer::is_stopping() const {
  const std::lock_guard lock(mutex_);
  return is_stopping_;
}

void HttpServer::accept_connections() {
  block_broken_pipe_signal();
  Clock::time_point next_look = Clock::now() + kTick;
  while (!is_stopping()) {
    try {
      const bool is_ready = socket_.poll(timespan(kTick), Poco::Net::Socket::SELECT_READ);
      if (is_ready && !is_stopping()) {
        // In two steps: the handle that is accepted must be gone when the thread begins.
        auto socket = std::make_unique<StreamSocket>(socket_.acceptConnection());
        start_connection(std::move(socket));
      }
    } catch (const std::exception&) {
      // The other end has gone already, or descriptors or threads have run out: others will end.
      std::this_thread::sleep_for(kTick);
    }
    if (Clock::now() < next_look) continue;
    next_look = Clock::now() + kTick;
    const std::lock_guard lock(mutex_);
    shut_overdue_connections();
  }
  socket_.close();
}

HttpServer::Entry HttpServer::enter() {
  std::unique_lock lock(mutex_);
  const bool has_room = connections_ < limits_.connections || make_room();
  const auto is_below_all = [&] {
    return connections_ < limits_.connections + kSpareConnections;
  };
  // Those that were shut to make room need a moment to go.
  const bool may_enter =
      has_room ? connection_has_closed_.wait_for(lock, kTick, is_below_all) : is_below_all();
  if (!may_enter) return Entry::refused;
  ++connections_;
  return has_room ? Entry::admitted : Entry::beyond_limit;
}

void HttpServer::start_connection(std::unique_ptr<StreamSocket> socket) {
  const Entry entry = enter();
  if (entry == Entry::refused) return refuse_connection(*socket);
  const auto leave = [this] {
    const std::lock_guard lock(mutex_);
    --connections_;
    // Under the lock: the server may be destroyed as soon as the last connection has gone.
    connection_has_closed_.notify_all();
  };
  try {
    std::thread([this, own_socket = std::move(socket), leave, entry]() mutable {
      block_broken_pipe_signal();
      try {
        Connection(*this, *own_socket, entry == Entry::beyond_limit).run();
      } catch (const std::exception&) {
        // Broken off by the other end, or no TLS on it: there is nobody to tell.
      }
      own_socket.reset();
      leave();
    }).detach();
  } catch (const std::system_error&) {
    leave();
    throw;
  }
}

void HttpServer::refuse_connection(StreamSocket& socket) {
  if (encrypt_) return;  // it would have to shake hands first
  HttpReply reply = problem_reply({503, "too many connections", {{"Retry-After", "1"}}});
  handler_.refuse(socket.peerAddress().toString(), reply);
  const std::string text = header_text(reply, false) + reply.body;
  // What does not fit a new connection's buffer is not worth waiting for.
  socket.setBlocking(false);
  socket.sendBytes(text.data(), static_cast<int>(text.size()));
}

bool HttpServer::make_room() {
  Watch* chosen = nullptr;
  for (Watch* const watch : watches_) {
    if (!watch->state.is_at_rest()) continue;
    const auto rank = [](const Watch* one) {
      return std::pair(one->siblings(), -one->state.at_rest_since().time_since_epoch());
    };
    if (chosen == nullptr || rank(watch) > rank(chosen)) chosen = watch;
  }
  if (chosen == nullptr) return false;
  chosen->state.shut();
  return true;
}

void HttpServer::shut_overdue_connections() {
  const Clock::time_point now = Clock::now();
  for (Watch* const watch : watches_) watch->state.shut_if_overdue(now);
}

}  // namespace korvane::host
