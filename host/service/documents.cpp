#include "host/service/documents.h"

#include <chrono>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <Poco/DateTimeFormat.h>
#include <Poco/DateTimeFormatter.h>
#include <Poco/Timestamp.h>
#include <nlohmann/json.hpp>

#include "host/memory/call_memory.h"
#include "host/service/representation.h"
#include "host/service/routes.h"
#include "host/service/server_state.h"
#include "host/service/target.h"
#include "platform/rpc4/directory.h"

namespace korvane::host {

using Json = nlohmann::ordered_json;
using krv::rpc4::LiveService;
using krv::rpc4::Operation;

namespace {

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

std::string time_text(std::chrono::system_clock::time_point time) {
  const auto microseconds =
      std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch());
  return Poco::DateTimeFormatter::format(Poco::Timestamp(microseconds.count()),
                                         Poco::DateTimeFormat::ISO8601_FRAC_FORMAT);
}

std::string project_list_text(const ServerState& server) {
  std::string text = R"({"projects":[)";
  for (const ProjectFile& file : server.room.root.list()) {
    if (text.back() != '[') text += ',';
    text += Json{{"file", file.name},
                 {"size", file.size},
                 {"changed", time_text(file.changed)},
                 {"is_open", server.room.projects.is_open(file.name)}}
                .dump();
  }
  return text + "]}\n";
}

HttpReply json_reply() {
  HttpReply reply;
  reply.content_type = media_type(Representation::json);
  return reply;
}

/// The text can be long, and take its time: a folder of many files, a server with many projects.
HttpReply made_in_turn(const DocumentRequest& asked, const char* queue,
                       const std::function<std::string()>& make) {
  CallRoom& room = asked.server.room;
  auto text = std::make_shared<std::string>();
  CallMemory memory(room.records, asked.client.name, room.limits.record_bytes);
  const Delivery::Caller caller{asked.client.name, asked.request.has_client_gone};
  auto holding = std::make_shared<MemoryPool::Holding>(room.replies, asked.client.name);
  try {
    room.delivery.deliver(queue, caller, [&](const Delivery::Turn&) {
      const CallMemory::Scope scope(memory);
      *text = make();
    });
    holding->resize(text->size());
  } catch (const std::bad_alloc&) {
    throw HttpFault(503, "there is no memory for " + std::string(queue), {{"Retry-After", "1"}});
  } catch (const NotDelivered& failure) {
    throw HttpFault(503, failure.what(), {{"Retry-After", "1"}});
  } catch (const PoolIsFull& failure) {
    throw HttpFault(503, failure.what(), {{"Retry-After", "1"}});
  }
  HttpReply reply = json_reply();
  reply.streamed_bytes = text->size();
  reply.stream_body = [text, holding](const HttpReply::Write& write) { write(*text); };
  return reply;
}

}  // namespace

HttpReply live_document(const DocumentRequest&) { return {200, "text/plain", "live\n"}; }

HttpReply ready_document(const DocumentRequest& asked) {
  if (asked.server.is_stopping) throw HttpFault(problem("stopping"), "the server is stopping");
  if (asked.server.is_draining) {
    throw HttpFault(problem("draining"), "the server will stop soon: send requests elsewhere");
  }
  return {200, "text/plain", "ready\n"};
}

HttpReply metrics_document(const DocumentRequest& asked) {
  return {200, "text/plain; version=0.0.4", asked.server.metrics_text()};
}

HttpReply openapi_document_of_server(const DocumentRequest& asked) {
  const Target target(asked.request.head.getURI());
  target.refuse_parameters_but({"edition", "media"});
  const std::optional<std::string> media = target.parameter("media");
  if (media && *media != "json") {
    throw HttpFault(400, "the parameter media is \"" + *media + "\"; expected json");
  }
  const std::optional<std::string> edition = target.parameter("edition");
  if (edition && *edition != "3.0" && *edition != "3.1") {
    throw HttpFault(400, "the parameter edition is \"" + *edition + "\"; expected 3.0 or 3.1");
  }
  HttpReply reply = json_reply();
  const std::string& text = edition == "3.0" ? asked.server.openapi_3_0
                            : media          ? asked.server.openapi_of_json
                                             : asked.server.openapi;
  reply.streamed_bytes = text.size();
  reply.stream_body = [&text](const HttpReply::Write& write) { write(text); };
  return reply;
}

HttpReply schema_document(const DocumentRequest& asked) {
  const auto& schemas = asked.server.schemas;
  const std::string name = Target(asked.request.head.getURI()).segments().back();
  const auto found = schemas.find(name);
  if (found != schemas.end()) return {200, "text/plain; charset=utf-8", found->second};
  std::string names;
  for (const auto& [known, text] : schemas) names += (names.empty() ? "" : ", ") + known;
  throw HttpFault(404, "no schema " + name + (names.empty() ? "" : "; expected one of " + names));
}

HttpReply access_document(const DocumentRequest& asked) {
  Json scopes = Json::array();
  for (const Scope scope : asked.client.scopes) scopes.push_back(scope_name(scope));
  const Json access = {{"client", asked.client.name}, {"scopes", std::move(scopes)}};
  HttpReply reply = json_reply();
  reply.body = access.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
  return reply;
}

HttpReply services_document(const DocumentRequest& asked) {
  return made_in_turn(asked, "the list of services", &live_services_text);
}

HttpReply projects_document(const DocumentRequest& asked) {
  return made_in_turn(asked, "the list of projects",
                      [&] { return project_list_text(asked.server); });
}

HttpReply locks_document(const DocumentRequest& asked) {
  if (!asked.server.try_locks) throw HttpFault(404, "this server tries no locks");
  const Target target(asked.request.head.getURI());
  target.refuse_parameters_but({"order"});
  const std::optional<std::string> order = target.parameter("order");
  if (!order) throw HttpFault(400, "the parameter order is missing");
  return {200, "text/plain; charset=utf-8",
          asked.server.try_locks(target.segments().back(), *order)};
}

HttpReply copies_document(const DocumentRequest& asked) {
  if (!asked.server.take_copy) {
    throw HttpFault(404, "this server takes no copies: expected one with --accept-copies");
  }
  const Target target(asked.request.head.getURI());
  target.refuse_parameters_but({"order", "transfer", "first"});
  CopyOrder order{asked.client.name};
  const std::vector<std::string> segments = target.segments();
  if (segments.size() > 2) order.file = segments.back();
  order.order = target.parameter("order").value_or("");
  order.transfer = target.parameter("transfer").value_or("");
  order.first = target.parameter("first").value_or("");
  order.body = asked.body;
  HttpReply reply = json_reply();
  try {
    reply.body = asked.server.take_copy(order);
  } catch (const std::bad_alloc&) {
    throw HttpFault(503, "there is no memory for copies", {{"Retry-After", "1"}});
  }
  return reply;
}

}  // namespace korvane::host
