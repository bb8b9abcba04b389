#include "host/service/call.h"

#include <utility>
#include <vector>

#include "host/access/gate.h"
#include "host/service/routes.h"

namespace korvane::host {

using krv::rpc4::LiveService;
using krv::rpc4::ServiceDefinition;

namespace {

constexpr const char* kRunField = "Korvane-Run";

std::string media_type_names() {
  return std::string(media_type(Representation::json)) + " or " +
         std::string(media_type(Representation::compact_binary));
}

bool reads_method(const std::string& method) { return method == "GET" || method == "HEAD"; }

std::vector<std::string> parameter_names(const Callee& callee) {
  if (callee.file) return {"request", "create"};
  return {"request"};
}

}  // namespace

CalledOperation find_operation(const CallRoom& room, Callee callee, const std::string& operation) {
  const ServiceDefinition* definition = &room.project_definition;
  std::string who = "a project";
  if (callee.file) {
    for (const MountedRoute& route : room.mounted.routes) {
      if (route.operation.name != operation) continue;
      return {std::move(callee), route.operation, "mounted." + operation, &route};
    }
  } else {
    const std::optional<LiveService> service = krv::rpc4::find_live_service(callee.service_id);
    if (!service) throw HttpFault(404, "no service " + callee.service_id);
    definition = service->definition;
    who = "the service " + callee.service_id;
  }
  const krv::rpc4::Operation* const found = definition->find(operation);
  if (found == nullptr) throw HttpFault(404, who + " has no operation " + operation);
  return {std::move(callee), *found, std::string(definition->name) + "." + operation, nullptr};
}

Call::Call(CallRoom& room, const HttpRequest& request, const Target& target, const Client& client,
           CalledOperation called)
    : room_(room),
      request_(request),
      target_(target),
      client_(client),
      called_(std::move(called)),
      is_get_(reads_method(request.head.getMethod())) {
  require_method(request_, mounted() != nullptr ? methods_of(*mounted()) : methods_of(operation()));
  require_scope(client_, scopes_of(operation().effect));
  if (mounted() != nullptr) {
    parameters_ = parameters_of(*mounted(), target_);
    require_run();
    return;
  }
  choose_forms();
  target_.refuse_parameters_but(parameter_names(callee()));
  require_run();
}

void Call::choose_forms() {
  const std::string content_type = request_.head.get("Content-Type", "");
  const auto sent = is_get_ ? Representation::json : representation_of(content_type);
  if (!sent) {
    throw HttpFault(415,
                    "the Content-Type is \"" + content_type + "\"; expected " + media_type_names());
  }
  const auto wanted = preferred_representation(request_.head.get("Accept", ""), *sent);
  if (!wanted) throw HttpFault(406, "replies come as " + media_type_names());
  request_form_ = *sent;
  reply_form_ = *wanted;
}

void Call::require_run() const {
  const std::string run = room_.runs.id();
  const std::string wanted = request_.head.get(kRunField, "");
  if (!wanted.empty() && wanted != run) {
    throw HttpFault(
        412, "the request is meant for run " + wanted + " of the server; this is run " + run);
  }
  const bool is_of_this_run =
      callee().file || room_.runs.is_first() || room_.permanent_services.count(callee().service_id);
  if (wanted.empty() && !is_of_this_run) {
    throw HttpFault(412, "the id " + callee().service_id +
                             " may be of an earlier run of the server; expected the field "
                             "Korvane-Run, or the project's address");
  }
}

krv::rpc4::EncodedRequest Call::encoded_request(const std::string& body,
                                                std::string& parameter) const {
  if (!is_get_) return {request_form_, body};
  parameter = target_.parameter("request").value_or("{}");
  return {request_form_, parameter};
}

bool Call::may_create() const {
  const std::string create = target_.parameter("create").value_or("false");
  if (create != "true" && create != "false") {
    throw HttpFault(400, "the parameter create is \"" + create + "\"; expected true or false");
  }
  return create == "true" && operation().effect == krv::rpc4::Effect::writes;
}

}  // namespace korvane::host
