#include "host/http/server.h"

#include <algorithm>
#include <csignal>
#include <exception>
#include <map>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include <Poco/Timespan.h>

#include "host/http/connection.h"

namespace korvane::host {

using Clock = std::chrono::steady_clock;
using Poco::Net::StreamSocket;

namespace {

/// How often overdue connections are looked for, and so how late they may be shut.
constexpr std::chrono::milliseconds kTick{50};
/// Connections beyond the limit: those that others make room for, and health checks.
constexpr std::size_t kSpareConnections = 64;

Poco::Timespan timespan(std::chrono::milliseconds time) {
  return {std::chrono::duration_cast<std::chrono::microseconds>(time).count()};
}

/// A write to a connection that the other end has closed is an error to look at, not a signal.
void block_broken_pipe_signal() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

}  // namespace

HttpServer::HttpServer(const Poco::Net::ServerSocket& socket, HttpHandler& handler,
                       const HttpLimits& limits, Encrypt encrypt)
    : socket_(socket), handler_(handler), limits_(limits), encrypt_(std::move(encrypt)) {
  // A connection that has gone before it is accepted does not keep the acceptor.
  socket_.setBlocking(false);
  acceptor_ = std::thread([this] { accept_connections(); });
}

HttpServer::~HttpServer() {
  stop_accepting();
  cut_connections();
  std::unique_lock lock(mutex_);
  connection_has_closed_.wait(lock, [&] { return connections_ == 0; });
}

void HttpServer::stop_accepting() {
  {
    const std::lock_guard lock(mutex_);
    is_stopping_ = true;
    for_each_state([](ConnectionState& state) { state.shut_if_idle(); });
  }
  // Within a tick it closes the socket, and new connections are refused from then on, unless another
  // process has the socket too: shutting it down would take it from that one.
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

void HttpServer::cut_connections() {
  const std::lock_guard lock(mutex_);
  for_each_state([](ConnectionState& state) { state.shut(); });
}

std::size_t HttpServer::connections() const {
  const std::lock_guard lock(mutex_);
  return connections_;
}

void HttpServer::accept_connections() {
  block_broken_pipe_signal();
  Clock::time_point next_look = Clock::now() + kTick;
  while (!is_stopping_) {
    last_turn_ = Clock::now();
    try {
      const bool is_ready = socket_.poll(timespan(kTick), Poco::Net::Socket::SELECT_READ);
      if (is_ready && !is_stopping_) {
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
  accept_waiting();
  socket_.close();
}

void HttpServer::accept_waiting() {
  try {
    // Others may come as fast as these are taken.
    for (std::size_t i = 0; i < limits_.connections + kSpareConnections; ++i) {
      if (!socket_.poll(Poco::Timespan(), Poco::Net::Socket::SELECT_READ)) return;
      start_connection(std::make_unique<StreamSocket>(socket_.acceptConnection()));
    }
  } catch (const std::exception&) {
    return;  // the last one has gone already, or there are no descriptors or threads for it
  }
}

HttpServer::Entry HttpServer::enter() {
  std::unique_lock lock(mutex_);
  const bool has_room = connections_ < limits_.connections || make_room();
  const auto is_below_all = [&] { return connections_ < limits_.connections + kSpareConnections; };
  // Those that were shut to make room need a moment to close.
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
        // Closed by the other end, or it does not speak TLS: there is nobody to tell.
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
  if (encrypt_) return;  // a reply would need the handshake first
  HttpReply reply = problem_reply({503, "too many connections", {{"Retry-After", "1"}}});
  handler_.refuse(socket.peerAddress().toString(), reply);
  const std::string text = header_text(reply, false) + reply.body;
  // What does not fit a new connection's buffer is not worth waiting for.
  socket.setBlocking(false);
  socket.sendBytes(text.data(), static_cast<int>(text.size()));
}

HttpServer::Watch* HttpServer::find_at_rest() {
  using Rank = std::pair<std::size_t, Clock::duration>;
  Watch* chosen = nullptr;
  Rank highest;
  for (Watch* const watch : watches_) {
    const auto since = watch->with_state([](const ConnectionState& state) {
      return state.is_at_rest() ? std::optional(state.at_rest_since()) : std::nullopt;
    });
    if (!since) continue;
    const Rank rank(watch->siblings(), -since->time_since_epoch());
    if (chosen != nullptr && rank <= highest) continue;
    chosen = watch;
    highest = rank;
  }
  return chosen;
}

bool HttpServer::make_room() {
  while (Watch* const chosen = find_at_rest()) {
    // Else its next request has been admitted meanwhile.
    if (chosen->with_state([](ConnectionState& state) { return state.shut_if_at_rest(); })) {
      return true;
    }
  }
  return false;
}

template <class Action>
void HttpServer::for_each_state(Action action) {
  for (Watch* const watch : watches_) watch->with_state(action);
}

void HttpServer::shut_overdue_connections() {
  const Clock::time_point now = Clock::now();
  for_each_state([&](ConnectionState& state) { state.shut_if_overdue(now); });
}

}  // namespace korvane::host
