#include "host/service/exchange.h"

#include <utility>

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <nlohmann/json.hpp>

#include "host/service/call.h"
#include "host/service/routes.h"
#include "host/watch/json_log.h"
#include "host/watch/request_line.h"

namespace korvane::host {

using Json = nlohmann::ordered_json;

/// How a request that was admitted is answered.
class Answer {
 public:
  Answer() = default;
  Answer(const Answer&) = delete;
  Answer& operator=(const Answer&) = delete;
  virtual ~Answer() = default;

  virtual HttpReply make(const std::string& body) = 0;

  /// Whether a body means anything here.
  virtual bool reads_body() const { return false; }
  /// What the plugins logged meanwhile. Asked once.
  virtual CollectedLines lines() { return {}; }
};

namespace {

/// Some clients send a little where nothing is read. More would fill the memory for bodies, and
/// anyone may ask for the page and the state of health.
constexpr std::uint64_t kMostUnread = std::uint64_t{128} << 10U;

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

class DocumentAnswer : public Answer {
 public:
  DocumentAnswer(const Route& route, const DocumentRequest& asked) : route_(route), asked_(asked) {}

  HttpReply make(const std::string& body) override {
    if (route_.reads_body) asked_.body = body;
    return route_.document(asked_);
  }
  bool reads_body() const override { return route_.reads_body; }

 private:
  const Route& route_;
  DocumentRequest asked_;
};

class PageAnswer : public Answer {
 public:
  PageAnswer(const PageFile& file, const HttpRequest& request) : file_(file), request_(request) {}

  HttpReply make(const std::string&) override { return page_reply(file_, request_); }

 private:
  const PageFile& file_;
  const HttpRequest& request_;
};

class CallAnswer : public Answer {
 public:
  CallAnswer(ServerState& server, const HttpRequest& request, const Target& target,
             const Client& client, CalledOperation called)
      : call_(server.room, request, target, client, std::move(called)) {}

  HttpReply make(const std::string& body) override { return make_call(call_, body, lines_); }
  bool reads_body() const override { return true; }
  CollectedLines lines() override { return std::move(lines_); }

 private:
  const Call call_;
  CollectedLines lines_;
};

/// Whose operation a path names. The places are those of the route's path.
CalledOperation called_operation(const CallRoom& room, FoundRoute found) {
  std::string& name = found.places[0];
  Callee callee;
  if (found.route.callees == Callees::project_files) {
    callee.file = std::move(name);
  } else {
    callee.service_id = std::move(name);
  }
  return find_operation(room, std::move(callee), found.places[1]);
}

}  // namespace

Exchange::Exchange(ServerState& server, const HttpRequest& request)
    : server_(server), request_(request), target_(request.head.getURI()), id_(id_of(request)) {}

Exchange::~Exchange() = default;

const Client& Exchange::known_client() const {
  static const Client nobody;
  return visit_ ? visit_->client() : nobody;
}

const std::string& Exchange::client() const { return known_client().name; }

void Exchange::admit() {
  // Whoever follows a link from elsewhere comes to the page first.
  if (const PageFile* const file = server_.page.find(target_.path())) return admit_page(*file);
  const std::shared_ptr<const Gate> gate = server_.gate.get();
  gate->refuse_other_sites(request_);
  const auto admit_document = [&](const Route& route) {
    metric_ = route.metric;
    require_method(request_, methods_of(route));
    answer_ =
        std::make_unique<DocumentAnswer>(route, DocumentRequest{server_, request_, known_client()});
  };
  if (const Route* const open = find_open_route(target_.path())) return admit_document(*open);
  refuse_beyond_limit();
  visit_.emplace(server_.visits, gate->client(request_));
  FoundRoute found = find_route(target_);
  if (!found.route.scopes.empty()) require_scope(known_client(), found.route.scopes);
  if (found.route.callees == Callees::none) return admit_document(found.route);
  metric_ = found.route.metric;
  CalledOperation called = called_operation(server_.room, std::move(found));
  metric_ = called.metric;
  answer_ =
      std::make_unique<CallAnswer>(server_, request_, target_, known_client(), std::move(called));
}

void Exchange::admit_page(const PageFile& file) {
  metric_ = "page";
  require_method(request_, document_methods());
  refuse_beyond_limit();
  visit_.emplace(server_.visits, Client{address_of(request_), {}});
  answer_ = std::make_unique<PageAnswer>(file, request_);
}

void Exchange::refuse_beyond_limit() const {
  if (request_.is_beyond_limit) {
    throw HttpFault(503, "too many connections", {{"Retry-After", "1"}});
  }
}

void Exchange::hold_body(std::uint64_t bytes) {
  if (!answer_->reads_body() && bytes > kMostUnread) {
    throw HttpFault(413, "expected no body here");
  }
  if (!body_) body_.emplace(server_.bodies, client());
  try {
    body_->resize(bytes);
  } catch (const PoolIsFull& full) {
    throw HttpFault(503, full.what(), {{"Retry-After", "1"}});
  }
}

HttpReply Exchange::answer(const std::string& body) {
  body_bytes_ = body.size();
  try {
    HttpReply reply = answer_->make(body);
    body_.reset();
    return reply;
  } catch (...) {
    body_.reset();
    throw;
  }
}

void Exchange::complete(HttpReply& reply) {
  add_run(server_, reply);
  reply.fields.emplace_back(kRequestId, id_);
}

void Exchange::served(const HttpReply& reply, std::chrono::nanoseconds duration, bool is_sent) {
  server_.metrics.served(server_.metrics.requests(metric_), reply.status, duration);
  auto line = std::make_shared<RequestLine>();
  line->time = std::chrono::system_clock::now();
  line->id = id_;
  line->peer = request_.peer;
  line->client = client();
  line->method = request_.head.getMethod();
  line->path = target_.path();
  line->status = reply.status;
  line->duration = duration;
  line->request_bytes = body_bytes_;
  line->reply_bytes = reply.body_bytes();
  line->detail = reply.detail;
  line->is_sent = is_sent;
  if (answer_) line->logged = answer_->lines();
  log_late(std::move(line));
}

void note_refusal(ServerState& server, const std::string& peer, const HttpReply& reply) {
  server.metrics.served(server.metrics.requests("refused"), reply.status,
                        std::chrono::nanoseconds(0));
  const Json line = {
      {"time", log_time()}, {"peer", peer}, {"status", reply.status}, {"detail", reply.detail}};
  log_object(line.dump(-1, ' ', false, Json::error_handler_t::replace));
}

void add_run(const ServerState& server, HttpReply& reply) {
  reply.fields.emplace_back("Korvane-Run", server.room.runs.id());
}

}  // namespace korvane::host
