#include "host/model_server.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <utility>

#include <Poco/Exception.h>
#include <Poco/URI.h>
#include <nlohmann/json.hpp>

#include "bond/exception.h"
#include "contracts/encoding/json.h"
#include "contracts/encoding/record_codec.h"
#include "host/failure.h"
#include "host/json_log.h"
#include "host/openapi.h"
#include "host/representation.h"
#include "platform/project_rpc/open_project.h"
#include "platform/project_rpc/services.h"
#include "platform/project_rpc/table.describe.h"

namespace korvane::host {

using Json = nlohmann::ordered_json;
using krv::rpc4::Effect;
using krv::rpc4::LiveService;
using krv::rpc4::Operation;
using krv::rpc4::PeerInfo;

namespace {

constexpr const char* kGet = "GET";
constexpr const char* kPost = "POST";

/// The services that are live at the start by their ids, and the definitions that none is live of
/// yet.
std::vector<DescribedService> described_services() {
  std::vector<DescribedService> services;
  for (const LiveService& live : krv::rpc4::live_services()) {
    services.push_back({live.definition, live.id});
  }
  for (const auto* const definition : rpc::service_definitions()) {
    const bool is_live = std::any_of(services.begin(), services.end(), [&](const auto& service) {
      return service.definition == definition;
    });
    if (!is_live) services.push_back({definition, {}});
  }
  return services;
}

std::vector<std::string> methods_of(const Operation& operation) {
  if (is_served_by_get(operation)) return {kGet, "HEAD", kPost};
  return {kPost};
}

std::string live_services_text() {
  Json services = Json::array();
  for (const LiveService& live : krv::rpc4::live_services()) {
    Json operations = Json::array();
    for (const Operation& operation : live.definition->operations) {
      operations.push_back({{"name", operation.name},
                            {"path", operation_path(live.id, operation.name)},
                            {"methods", methods_of(operation)},
                            {"effect", effect_name(operation.effect)},
                            {"request", operation.request.name},
                            {"reply", operation.reply.name}});
    }
    services.push_back({{"id", live.id},
                        {"service", live.definition->name},
                        {"operations", std::move(operations)}});
  }
  return Json{{"services", std::move(services)}}.dump() + "\n";
}

std::string percent_decoded(const std::string& text) {
  std::string decoded;
  try {
    Poco::URI::decode(text, decoded);
  } catch (const Poco::Exception& failure) {
    throw HttpFault(400, "malformed percent-encoding in the address: " + failure.message());
  }
  return decoded;
}

/// The parts of a request's target.
struct Target {
  std::string path;
  std::string query;

  explicit Target(const std::string& uri)
      : path(uri.substr(0, uri.find('?'))),
        query(uri.size() == path.size() ? "" : uri.substr(path.size() + 1)) {}

  std::vector<std::string> segments() const {
    std::vector<std::string> segments;
    for (std::size_t begin = 1; begin <= path.size();) {
      const std::size_t end = std::min(path.find('/', begin), path.size());
      segments.push_back(percent_decoded(path.substr(begin, end - begin)));
      begin = end + 1;
    }
    return segments;
  }

  /// The JSON text of a GET request.
  std::string request() const {
    std::optional<std::string> request;
    for (std::size_t begin = 0; begin <= query.size();) {
      const std::size_t end = std::min(query.find('&', begin), query.size());
      const std::string parameter = query.substr(begin, end - begin);
      begin = end + 1;
      if (parameter.empty()) continue;
      const std::string name = parameter.substr(0, parameter.find('='));
      if (name != "request") {
        throw HttpFault(400, "unknown parameter \"" + name + "\" in the address; expected request");
      }
      if (request) throw HttpFault(400, "the parameter request is given twice in the address");
      std::string value = parameter.substr(std::min(name.size() + 1, parameter.size()));
      std::replace(value.begin(), value.end(), '+', ' ');  // as forms encode it
      request = percent_decoded(value);
    }
    return request.value_or("{}");
  }
};

/// The detail of a problem document.
std::string detail_of(const HttpReply& problem) {
  return nlohmann::json::parse(problem.body).value("detail", "");
}

void log_request(const Json& line) {
  log_object(line.dump(-1, ' ', false, Json::error_handler_t::replace));
}

}  // namespace

/// One request, from its header to its line in the log.
class ModelServer::Exchange : public HttpExchange {
 public:
  Exchange(ModelServer& server, const HttpRequest& request)
      : server_(server), request_(request), target_(request.head.getURI()) {}
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;
  ~Exchange() override {
    if (is_counted_) server_.leave_request(client_.name);
  }

  void admit() override {
    server_.gate_.refuse_other_sites(request_);
    if (target_.path == "/healthz/live") return answer_get("live", &Exchange::live);
    if (target_.path == "/healthz/ready") return answer_get("ready", &Exchange::ready);
    client_ = server_.gate_.client(request_);
    server_.enter_request(client_.name);
    is_counted_ = true;
    if (target_.path == "/metrics") return answer_get("metrics", &Exchange::metrics);
    if (target_.path == "/openapi.json") return answer_get("openapi", &Exchange::openapi);
    const std::vector<std::string> segments = target_.segments();
    if (!segments.empty() && segments[0] == "v1") {
      if (segments.size() == 1) return answer_get("services", &Exchange::services);
      if (segments.size() == 3) return admit_call(segments[1], segments[2]);
    }
    throw HttpFault(404, "nothing is served at " + target_.path);
  }

  HttpReply answer(const std::string& body) override { return (this->*answer_)(body); }

  void served(const HttpReply& reply, std::chrono::nanoseconds duration, bool is_sent) override {
    server_.metrics_.served(metric_, reply.status, duration);
    Json line = {{"time", log_time()},
                 {"peer", request_.peer},
                 {"client", client_.name},
                 {"method", request_.head.getMethod()},
                 {"path", target_.path},
                 {"status", reply.status},
                 {"milliseconds", std::chrono::duration<double, std::milli>(duration).count()},
                 {"request_bytes", body_bytes_},
                 {"reply_bytes", reply.body.size()}};
    if (reply.content_type == "application/problem+json") line["detail"] = detail_of(reply);
    if (!is_sent) line["sent"] = false;
    for (const LogLine& logged : lines_) {
      line["lines"].push_back({{"severity", logged.severity}, {"message", logged.message}});
    }
    log_request(line);
  }

 private:
  using Answer = HttpReply (Exchange::*)(const std::string& body);

  std::string method() const { return request_.head.getMethod(); }
  bool is_get() const { return method() == kGet || method() == "HEAD"; }

  void require_method(const std::vector<std::string>& allowed) const {
    if (std::find(allowed.begin(), allowed.end(), method()) != allowed.end()) return;
    std::string names;
    for (const std::string& name : allowed) names += (names.empty() ? "" : ", ") + name;
    throw HttpFault(405, method() + " is not served here; expected " + names, {{"Allow", names}});
  }

  void answer_get(const char* metric, Answer get) {
    metric_ = metric;
    require_method({kGet, "HEAD"});
    answer_ = get;
  }

  HttpReply live(const std::string&) { return {200, "text/plain", "live\n", {}}; }
  HttpReply ready(const std::string&) {
    const std::lock_guard lock(server_.mutex_);
    if (server_.is_stopping_) throw HttpFault(503, "the server is stopping");
    return {200, "text/plain", "ready\n", {}};
  }
  HttpReply metrics(const std::string&) {
    return {200, "text/plain; version=0.0.4", server_.metrics_text(), {}};
  }
  HttpReply openapi(const std::string&) { return json(server_.openapi_); }
  HttpReply services(const std::string&) { return json(live_services_text()); }

  static HttpReply json(std::string text) {
    return {200, std::string(media_type(Representation::json)), std::move(text), {}};
  }

  void admit_call(const std::string& service_id, const std::string& operation_name) {
    metric_ = "unknown";
    const std::optional<LiveService> service = krv::rpc4::find_live_service(service_id);
    if (!service) throw HttpFault(404, "no service " + service_id);
    operation_ = service->definition->find(operation_name);
    if (operation_ == nullptr) {
      throw HttpFault(404, "the service " + service_id + " has no operation " + operation_name);
    }
    service_id_ = service_id;
    metric_ = std::string(service->definition->name) + "." + operation_name;
    require_method(methods_of(*operation_));
    require_scope_of(operation_->effect);
    choose_representations();
    answer_ = &Exchange::call;
  }

  void require_scope_of(Effect effect) const {
    switch (effect) {
      case Effect::reads:
        return require_scope(client_, {Scope::read});
      case Effect::writes:
        return require_scope(client_, {Scope::write});
      case Effect::opens:
        return require_scope(client_, {Scope::read, Scope::write});
      case Effect::queries:
        return require_scope(client_, {Scope::read, Scope::sql});
    }
  }

  void choose_representations() {
    const std::string content_type = request_.head.get("Content-Type", "");
    const auto sent = is_get() ? Representation::json : representation_of(content_type);
    if (!sent) {
      throw HttpFault(
          415, "the Content-Type is \"" + content_type + "\"; expected " + media_type_names());
    }
    const auto wanted = preferred_representation(request_.head.get("Accept", ""), *sent);
    if (!wanted) throw HttpFault(406, "replies come as " + media_type_names());
    request_form_ = *sent;
    reply_form_ = *wanted;
  }

  static std::string media_type_names() {
    return std::string(media_type(Representation::json)) + " or " +
           std::string(media_type(Representation::compact_binary));
  }

  HttpReply call(const std::string& body) {
    body_bytes_ = body.size();
    try {
      return answered(deliver(request_bytes(body)));
    } catch (...) {
      throw fault_of(std::current_exception(), operation_->effect);
    }
  }

  bond::blob request_bytes(const std::string& body) const {
    if (is_get()) return operation_->request.from_json(target_.request());
    if (request_form_ == Representation::json) return operation_->request.from_json(body);
    // A view: the body outlives the call, which is waited for.
    return {body.data(), static_cast<std::uint32_t>(body.size())};
  }

  bond::blob deliver(const bond::blob& request) {
    const PeerInfo peer{request_.peer};
    const auto call_it = [&](const LiveService& service) {
      return operation_->call(service.service, request, peer);
    };
    return operation_->effect == Effect::opens ? deliver_open(request, peer) : run(call_it);
  }

  /// Runs `work` in the service's turn, and keeps what is logged meanwhile.
  bond::blob run(const Delivery::Work& work) {
    return server_.delivery_.deliver(service_id_, [&](const LiveService& service) {
      const LineCollector collector(lines_);
      return fenced(work, service);
    });
  }

  bond::blob deliver_open(const bond::blob& request, const PeerInfo& peer) {
    std::string file;
    try {
      file = server_.root_.confine(encoding::decode<model::OpenProjectRequest>(request).filename);
    } catch (const ConfinementError& refusal) {
      throw HttpFault(400, refusal.what());
    } catch (const bond::Exception& failure) {
      throw krv::rpc4::RequestError(failure.what());
    }
    const bool would_make_it = !file.empty() && !server_.root_.exists(file);
    if (would_make_it && !server_.is_open(file)) require_scope(client_, {Scope::write});
    return run([&](const LiveService& service) {
      return server_.open_project(*operation_, service, file, peer);
    });
  }

  /// Whether it is SQL of the client's that may only read. A link can be made and followed by
  /// anyone, so that a GET never writes, whoever sends it.
  bool is_fenced_query() const {
    return operation_->effect == Effect::queries &&
           (is_get() || client_.scopes.count(Scope::sql) == 0);
  }

  SqlFenceLimits sql_limits() const {
    if (is_fenced_query()) return server_.limits_.query;
    SqlFenceLimits limits = server_.limits_.call;
    if (operation_->effect == Effect::writes) {
      limits.rows = limits.bytes = std::numeric_limits<std::int64_t>::max();
    }
    return limits;
  }

  bond::blob fenced(const Delivery::Work& work, const LiveService& service) const {
    SqlFence fence(sql_limits());
    try {
      return work(service);
    } catch (...) {
      fence.roll_back();
      const std::optional<FenceStop> stop = fence.stopped();
      if (!stop) throw;
      throw HttpFault(*stop == FenceStop::refused ? 403 : 422, fence.reason());
    }
  }

  HttpReply answered(bond::blob bytes) const {
    HttpReply reply;
    reply.content_type = media_type(reply_form_);
    if (is_fenced_query()) cut_rows(bytes, reply);
    if (reply_form_ == Representation::compact_binary) {
      reply.body.assign(bytes.content(), bytes.size());
      return reply;
    }
    try {
      reply.body = operation_->reply.to_json(bytes) + "\n";
    } catch (const encoding::JsonError& failure) {
      throw HttpFault(406, std::string(failure.what()) + "; ask for " +
                               std::string(media_type(Representation::compact_binary)));
    }
    return reply;
  }

  void cut_rows(bond::blob& bytes, HttpReply& reply) const {
    if (operation_->reply.name != bond::type_name<model::table::TABLE>()) return;
    auto table = encoding::decode<model::table::TABLE>(bytes);
    if (table.rows.size() <= server_.limits_.query_rows) return;
    reply.fields.emplace_back("Korvane-Truncated",
                              "rows=" + std::to_string(server_.limits_.query_rows));
    table.rows.resize(server_.limits_.query_rows);
    bytes = encoding::encode(table);
  }

  ModelServer& server_;
  const HttpRequest& request_;
  const Target target_;
  Client client_;
  bool is_counted_ = false;
  std::string metric_ = "other";
  Answer answer_ = nullptr;
  std::string service_id_;
  const Operation* operation_ = nullptr;
  Representation request_form_ = Representation::json;
  Representation reply_form_ = Representation::json;
  std::size_t body_bytes_ = 0;
  std::vector<LogLine> lines_;
};

namespace {

/// The fence ends a query that gives too many rows for what is cut off afterwards; it must let
/// those through that are to be answered with, and one more to tell that there are more.
ModelServerLimits with_room_for_rows(ModelServerLimits limits) {
  const auto answered = static_cast<std::int64_t>(limits.query_rows);
  limits.query.rows = std::max(limits.query.rows, answered + 1);
  return limits;
}

}  // namespace

ModelServer::ModelServer(const Poco::Net::ServerSocket& socket, Gate gate, ProjectRoot root,
                         const ModelServerLimits& limits)
    : gate_(std::move(gate)),
      root_(std::move(root)),
      limits_(with_room_for_rows(limits)),
      openapi_(openapi_document(described_services())),
      delivery_(limits.delivery),
      http_(socket, *this, limits.http) {}

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
  return delivery_.drain(time_left());
}

std::unique_ptr<HttpExchange> ModelServer::begin(const HttpRequest& request) {
  return std::make_unique<Exchange>(*this, request);
}

void ModelServer::refused(const std::string& peer, const HttpReply& reply) {
  metrics_.served("refused", reply.status, std::chrono::nanoseconds(0));
  log_request({{"time", log_time()},
               {"peer", peer},
               {"status", reply.status},
               {"detail", detail_of(reply)}});
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

bond::blob ModelServer::open_project(const Operation& operation, const LiveService& service,
                                     const std::string& file, const PeerInfo& peer) {
  {
    const std::lock_guard lock(mutex_);
    const bool is_new = open_projects_.count(file) == 0;
    if (is_new && open_projects_.size() >= limits_.open_projects) {
      throw HttpFault(503, "the server has " + std::to_string(limits_.open_projects) +
                               " projects open, and opens no more");
    }
  }
  model::OpenProjectRequest request;
  request.filename = file;
  bond::blob reply = operation.call(service.service, encoding::encode(request), peer);
  const std::string id = encoding::decode<model::OpenProjectResponse>(reply).service_id;
  const std::lock_guard lock(mutex_);
  open_projects_.emplace(file, id);
  return reply;
}

bool ModelServer::is_open(const std::string& file) const {
  const std::lock_guard lock(mutex_);
  return open_projects_.count(file) != 0;
}

std::string ModelServer::metrics_text() {
  Metrics::Levels levels;
  levels.queued_calls = delivery_.depth();
  levels.connections = http_.connections();
  {
    const std::lock_guard lock(mutex_);
    levels.open_projects = open_projects_.size();
  }
  return metrics_.text(levels);
}

}  // namespace korvane::host
