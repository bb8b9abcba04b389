#include "host/model_server.h"

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <vector>

#include <Poco/DateTimeFormat.h>
#include <Poco/DateTimeFormatter.h>
#include <Poco/Timestamp.h>
#include <nlohmann/json.hpp>
#include <sqlite3.h>

#include "host/memory/call_memory.h"
#include "host/service/exchange.h"
#include "host/service/openapi.h"
#include "host/watch/json_log.h"
#include "platform/project_rpc/project_service.h"
#include "platform/project_rpc/services.h"

namespace korvane::host {

using Json = nlohmann::ordered_json;
using krv::rpc4::LiveService;

namespace {

/// How long the threads of connections that were cut may take to notice.
constexpr std::chrono::milliseconds kTimeToEnd{1000};

/// Projects by their files first, then the services that are live at the start by their ids, last
/// those that get an id when they are opened.
std::vector<DescribedService> described_services() {
  std::vector<DescribedService> services = {
      {&model::cad::Project_Service::definition(), ServiceAddress::file}};
  const std::vector<LiveService> live_services = krv::rpc4::live_services();
  for (const LiveService& live : live_services) {
    services.push_back({live.definition, ServiceAddress::id, live.id});
  }
  for (const auto* const definition : rpc::service_definitions()) {
    const bool is_live =
        std::any_of(live_services.begin(), live_services.end(),
                    [&](const auto& live) { return live.definition == definition; });
    if (!is_live) services.push_back({definition, ServiceAddress::given_id});
  }
  return services;
}

std::string time_text(std::chrono::system_clock::time_point time) {
  const auto microseconds =
      std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch());
  return Poco::DateTimeFormatter::format(Poco::Timestamp(microseconds.count()),
                                         Poco::DateTimeFormat::ISO8601_FRAC_FORMAT);
}

void require_counted_memory() {
  if (is_new_counted()) return;
  throw std::runtime_error(
      "the program's memory is not counted: something else has replaced its operator new");
}

}  // namespace

ModelServer::ModelServer(const Poco::Net::ServerSocket& socket, Gate gate, ProjectRoot root,
                         const ModelServerLimits& limits, HttpServer::Encrypt encrypt)
    : root_(std::move(root)),
      limits_((require_counted_memory(), limits)),
      openapi_(openapi_document(described_services())),
      gate_(std::make_shared<const Gate>(std::move(gate))),
      bodies_("bodies of requests", limits.all_body_bytes),
      room_(root_, limits, limits.open_projects),
      http_(socket, *this, limits.http, std::move(encrypt)) {}

ModelServer::~ModelServer() = default;

bool ModelServer::stop(std::chrono::milliseconds deadline) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  const auto time_left = [&] {
    const auto left = end - std::chrono::steady_clock::now();
    return std::max(std::chrono::milliseconds(0),
                    std::chrono::duration_cast<std::chrono::milliseconds>(left));
  };
  {
    const std::lock_guard lock(mutex_);
    is_stopping_ = true;
  }
  http_.stop_accepting();
  // A connection that is open has a request in work: its call may be still to come.
  http_.wait_for_connections(time_left());
  if (!room_.delivery.drain(time_left())) return false;
  http_.cut_connections();
  return http_.wait_for_connections(kTimeToEnd);
}

void ModelServer::set_gate(Gate gate) {
  auto next = std::make_shared<const Gate>(std::move(gate));
  const std::lock_guard lock(mutex_);
  gate_ = std::move(next);
}

bool ModelServer::begin_run(std::chrono::milliseconds deadline,
                            const std::function<void()>& restart_plugins) {
  return room_.runs.renew(deadline, [&] {
    // Whichever plugins have been restarted when one fails: what was open may be so no more.
    room_.projects.forget_all();
    restart_plugins();
  });
}

std::unique_ptr<HttpExchange> ModelServer::begin(const HttpRequest& request) {
  return std::make_unique<Exchange>(*this, request);
}

void ModelServer::refuse(const std::string& peer, HttpReply& reply) {
  reply.fields.emplace_back("Korvane-Run", room_.runs.id());
  metrics_.served("refused", reply.status, std::chrono::nanoseconds(0));
  const Json line = {
      {"time", log_time()}, {"peer", peer}, {"status", reply.status}, {"detail", reply.detail}};
  log_object(line.dump(-1, ' ', false, Json::error_handler_t::replace));
}

void ModelServer::enter_request(const std::string& client) {
  const std::lock_guard lock(mutex_);
  std::size_t& count = requests_of_clients_[client];
  if (count >= limits_.requests_per_client) {
    throw HttpFault(429, "too many requests of \"" + client + "\" at a time",
                    {{"Retry-After", "1"}});
  }
  ++count;
}

void ModelServer::leave_request(const std::string& client) {
  const std::lock_guard lock(mutex_);
  const auto found = requests_of_clients_.find(client);
  if (--found->second == 0) requests_of_clients_.erase(found);
}

std::shared_ptr<const Gate> ModelServer::gate() const {
  const std::lock_guard lock(mutex_);
  return gate_;
}

bool ModelServer::is_stopping() const {
  const std::lock_guard lock(mutex_);
  return is_stopping_;
}

std::string ModelServer::project_list() {
  std::string text = R"({"projects":[)";
  for (const ProjectFile& file : root_.list()) {
    if (text.back() != '[') text += ',';
    text += Json{{"file", file.name},
                 {"size", file.size},
                 {"changed", time_text(file.changed)},
                 {"is_open", room_.projects.is_open(file.name)}}
                .dump();
  }
  return text + "]}\n";
}

std::string ModelServer::metrics_text() {
  Metrics::Levels levels;
  levels.queued_calls = room_.delivery.depth();
  levels.oldest_call = room_.delivery.age_of_oldest();
  levels.connections = http_.connections();
  levels.open_projects = room_.projects.size();
  levels.held_bytes = {{"bodies", bodies_.held()},
                       {"records", room_.records.held()},
                       {"replies", room_.replies.held()},
                       {"sqlite", static_cast<std::uint64_t>(sqlite3_memory_used())}};
  levels.lost_log_lines = LogWriter::lost();
  return metrics_.text(levels);
}

}  // namespace korvane::host
