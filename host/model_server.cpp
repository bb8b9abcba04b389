#include "host/model_server.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "host/memory/call_memory.h"
#include "host/service/exchange.h"

namespace korvane::host {

namespace {

/// How long the threads of connections that were cut may take to notice.
constexpr std::chrono::milliseconds kTimeToEnd{1000};

void require_counted_memory() {
  if (is_new_counted()) return;
  throw std::runtime_error(
      "the program's memory is not counted: something else has replaced its operator new");
}

}  // namespace

ModelServer::ModelServer(const Poco::Net::ServerSocket& socket, Gate gate, ProjectRoot root,
                         const ModelServerLimits& limits, HttpServer::Encrypt encrypt,
                         Mounted mounted)
    : root_((require_counted_memory(), std::move(root))),
      state_(std::move(gate), root_, limits, std::move(mounted),
             [this] { return http_.connections(); }),
      http_(socket, *this, limits.http, std::move(encrypt)) {}

ModelServer::~ModelServer() = default;

void ModelServer::begin_drain() {
  state_.is_draining = true;
  http_.begin_drain();
}

bool ModelServer::stop(std::chrono::milliseconds deadline) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  const auto time_left = [&] {
    const auto left = end - std::chrono::steady_clock::now();
    return std::max(std::chrono::milliseconds(0),
                    std::chrono::duration_cast<std::chrono::milliseconds>(left));
  };
  state_.is_stopping = true;
  http_.stop_accepting();
  state_.room.changes.stop();
  // A connection that is open has a request in work: its call may be still to come.
  http_.wait_for_connections(time_left());
  if (!state_.room.delivery.drain(time_left())) return false;
  http_.cut_connections();
  return http_.wait_for_connections(kTimeToEnd);
}

void ModelServer::set_gate(Gate gate) { state_.gate.set(std::move(gate)); }

bool ModelServer::begin_run(std::chrono::milliseconds deadline,
                            const std::function<void()>& restart_plugins) {
  return state_.room.runs.renew(deadline, [&] {
    // Whichever plugins have been restarted when one fails: what was open may be so no more.
    state_.room.projects.forget_all();
    state_.room.changes.end_all();
    restart_plugins();
  });
}

std::unique_ptr<HttpExchange> ModelServer::begin(const HttpRequest& request) {
  return std::make_unique<Exchange>(state_, request);
}

void ModelServer::refuse(const std::string& peer, HttpReply& reply) {
  add_run(state_, reply);
  note_refusal(state_, peer, reply);
}

}  // namespace korvane::host
