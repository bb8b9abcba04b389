#include "host/service/exchange.h"

#include <algorithm>
#include <new>
#include <utility>

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <nlohmann/json.hpp>

#include "host/memory/call_memory.h"
#include "host/service/openapi.h"
#include "host/service/representation.h"
#include "host/watch/json_log.h"

namespace korvane::host {

using Json = nlohmann::ordered_json;
using krv::rpc4::LiveService;
using krv::rpc4::Operation;

namespace {

constexpr const char* kRequestId = "Request-Id";

/// The client's own id of the request, where it is fit for a log and a header, else a new one.
std::string id_of(const HttpRequest& request) {
  constexpr std::size_t kLongest = 128;
  constexpr std::string_view kLetters =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._~+/=:-";
  const std::string given = request.head.get(kRequestId, "");
  const bool is_fit = !given.empty() && given.size() <= kLongest &&
                      given.find_first_not_of(kLetters) == std::string::npos;
  return is_fit ? given : boost::uuids::to_string(boost::uuids::random_generator()());
}

/// A tree for each service alone: there are as many services as open projects.
std::string live_services_text() {
  std::string text = R"({"services":[)";
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
    if (text.back() != '[') text += ',';
    text += Json{{"id", live.id},
                 {"service", live.definition->name},
                 {"operations", std::move(operations)}}
                .dump();
  }
  return text + "]}\n";
}

HttpReply json(std::string text) {
  return {200, std::string(media_type(Representation::json)), std::move(text)};
}

}  // namespace

ModelServer::Exchange::Exchange(ModelServer& server, const HttpRequest& request)
    : server_(server), request_(request), target_(request.head.getURI()), id_(id_of(request)) {}

ModelServer::Exchange::~Exchange() {
  call_.reset();
  if (is_counted_) server_.leave_request(client_.name);
}

void ModelServer::Exchange::admit() {
  const std::shared_ptr<const Gate> gate = server_.gate();
  gate->refuse_other_sites(request_);
  const std::string& path = target_.path();
  if (path == "/healthz/live") return answer_get("live", &Exchange::live);
  if (path == "/healthz/ready") return answer_get("ready", &Exchange::ready);
  if (request_.is_beyond_limit) {
    throw HttpFault(503, "too many connections", {{"Retry-After", "1"}});
  }
  Client client = gate->client(request_);
  server_.enter_request(client.name);
  client_ = std::move(client);
  is_counted_ = true;
  if (path == "/metrics") return answer_get("metrics", &Exchange::metrics);
  if (path == "/openapi.json") return answer_get("openapi", &Exchange::openapi);
  const std::vector<std::string> segments = target_.segments();
  if (!segments.empty() && segments[0] == "v1") {
    const bool is_of_projects = segments.size() > 1 && segments[1] == "projects";
    if (segments.size() == 1) return answer_get("services", &Exchange::services);
    if (is_of_projects && segments.size() == 2) {
      require_scope(client_, {Scope::read, Scope::write});
      return answer_get("projects", &Exchange::projects);
    }
    if (is_of_projects && segments.size() == 4) return admit_call({{}, segments[2]}, segments[3]);
    if (!is_of_projects && segments.size() == 3) return admit_call({segments[1]}, segments[2]);
  }
  throw HttpFault(404, "nothing is served at " + path);
}

void ModelServer::Exchange::answer_get(const char* metric, Answer get) {
  metric_ = metric;
  const std::string& method = request_.head.getMethod();
  if (method != "GET" && method != "HEAD") {
    throw HttpFault(405, method + " is not served here; expected GET, HEAD",
                    {{"Allow", "GET, HEAD"}});
  }
  answer_ = get;
}

void ModelServer::Exchange::admit_call(Callee callee, const std::string& operation) {
  metric_ = "unknown";
  call_.emplace(server_.room_, request_, target_, client_, std::move(callee), operation);
  metric_ = call_->metric();
  call_->admit();
  answer_ = &Exchange::call;
}

void ModelServer::Exchange::hold_body(std::uint64_t bytes) {
  if (!body_) body_.emplace(server_.bodies_, client_.name);
  body_->resize(bytes);
}

HttpReply ModelServer::Exchange::answer(const std::string& body) {
  body_bytes_ = body.size();
  return (this->*answer_)(body);
}

HttpReply ModelServer::Exchange::live(const std::string&) { return {200, "text/plain", "live\n"}; }

HttpReply ModelServer::Exchange::ready(const std::string&) {
  if (server_.is_stopping()) throw HttpFault(503, "the server is stopping");
  return {200, "text/plain", "ready\n"};
}

HttpReply ModelServer::Exchange::metrics(const std::string&) {
  return {200, "text/plain; version=0.0.4", server_.metrics_text()};
}

HttpReply ModelServer::Exchange::openapi(const std::string&) {
  HttpReply reply = json({});
  const std::string& text = server_.openapi_;
  reply.streamed_bytes = text.size();
  reply.stream_body = [&text](const HttpReply::Write& write) { write(text); };
  return reply;
}

HttpReply ModelServer::Exchange::services(const std::string&) {
  return made_in_turn("the list of services", &live_services_text);
}

HttpReply ModelServer::Exchange::projects(const std::string&) {
  return made_in_turn("the list of projects", [this] { return server_.project_list(); });
}

/// The text can be long, and take its time: a folder of many files, a server with many projects.
HttpReply ModelServer::Exchange::made_in_turn(const char* queue,
                                              const std::function<std::string()>& make) {
  CallRoom& room = server_.room_;
  auto text = std::make_shared<std::string>();
  CallMemory memory(room.records, client_.name, room.limits.record_bytes);
  const Delivery::Caller caller{client_.name, request_.has_client_gone};
  try {
    room.delivery.deliver(queue, caller, [&](const Delivery::Turn&) {
      const CallMemory::Scope scope(memory);
      *text = make();
      return bond::blob();
    });
  } catch (const std::bad_alloc&) {
    throw HttpFault(503, "there is no memory for " + std::string(queue), {{"Retry-After", "1"}});
  } catch (const NotDelivered& failure) {
    throw HttpFault(503, failure.what(), {{"Retry-After", "1"}});
  }
  auto holding = std::make_shared<MemoryPool::Holding>(room.replies, client_.name);
  holding->resize(text->size());
  HttpReply reply = json({});
  reply.streamed_bytes = text->size();
  reply.stream_body = [text, holding](const HttpReply::Write& write) { write(*text); };
  return reply;
}

HttpReply ModelServer::Exchange::call(const std::string& body) {
  try {
    HttpReply reply = call_->answer(body);
    body_.reset();
    return reply;
  } catch (...) {
    body_.reset();
    throw;
  }
}

void ModelServer::Exchange::complete(HttpReply& reply) {
  reply.fields.emplace_back("Korvane-Run", server_.room_.runs.id());
  reply.fields.emplace_back(kRequestId, id_);
}

void ModelServer::Exchange::served(const HttpReply& reply, std::chrono::nanoseconds duration,
                                   bool is_sent) {
  server_.metrics_.served(metric_, reply.status, duration);
  Json line = {{"time", log_time()},
               {"id", id_},
               {"peer", request_.peer},
               {"client", client_.name},
               {"method", request_.head.getMethod()},
               {"path", target_.path()},
               {"status", reply.status},
               {"milliseconds", std::chrono::duration<double, std::milli>(duration).count()},
               {"request_bytes", body_bytes_},
               {"reply_bytes", reply.body_bytes()}};
  if (!reply.detail.empty()) line["detail"] = reply.detail;
  if (!is_sent) line["sent"] = false;
  if (call_) {
    for (const LogLine& logged : call_->lines().lines) {
      line["lines"].push_back({{"severity", logged.severity}, {"message", logged.message}});
    }
    if (call_->lines().left_out != 0) line["lines_left_out"] = call_->lines().left_out;
  }
  log_object(line.dump(-1, ' ', false, Json::error_handler_t::replace));
}

}  // namespace korvane::host
