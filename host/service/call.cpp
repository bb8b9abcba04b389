#include "host/service/call.h"

#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "contracts/encoding/json_text.h"
#include "host/access/gate.h"
#include "host/service/routes.h"

namespace korvane::host {

using krv::rpc4::Effect;
using krv::rpc4::LiveService;
using krv::rpc4::ServiceDefinition;

namespace {

constexpr const char* kRunField = "Korvane-Run";
constexpr const char* kRequestParameter = "request";
constexpr const char* kDryRunParameter = "dry_run";

std::string media_type_names() {
  return std::string(media_type(Representation::json)) + " or " +
         std::string(media_type(Representation::compact_binary));
}

bool reads_method(const std::string& method) { return method == "GET" || method == "HEAD"; }

std::vector<std::string> parameter_names(const Callee& callee, Effect effect) {
  std::vector<std::string> names = {kRequestParameter};
  if (callee.file) names.emplace_back("create");
  if (effect == Effect::writes || effect == Effect::queries) names.emplace_back(kDryRunParameter);
  return names;
}

/// Whether the text is a number or a boolean of JSON. What else a field takes that is not a text, is
/// an enumerator's name.
bool is_json_scalar(const std::string& text) {
  if (text == "true" || text == "false") return true;
  const bool begins_as_number =
      !text.empty() && (text.front() == '-' || (text.front() >= '0' && text.front() <= '9'));
  return begins_as_number && text.back() >= '0' && text.back() <= '9' &&
         nlohmann::json::accept(text);
}

/// A request that is given field by field, as JSON.
std::string json_of(const std::vector<std::pair<std::string, std::string>>& members,
                    const krv::rpc4::Contract& request) {
  std::string fields = "{";
  for (const auto& [name, value] : members) {
    const encoding::FieldForm form = request.form_of_field(name);
    const auto refuse = [&, &field = name](const std::string& text) {
      std::string detail = "the parameter request[";
      throw HttpFault(400, detail.append(field).append("]: ").append(text));
    };
    if (form == encoding::FieldForm::none) refuse("unknown field");
    if (form == encoding::FieldForm::composite) {
      refuse("the field has parts; expected the whole request as JSON in the parameter request");
    }
    if (fields.size() > 1) fields += ',';
    fields += '"' + name + "\":";
    if (form == encoding::FieldForm::scalar && is_json_scalar(value)) {
      fields += value;
    } else {
      const std::optional<std::string> text = encoding::detail::quoted(value);
      if (!text) refuse("text that is not UTF-8");
      fields += *text;
    }
  }
  return fields + "}";
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
  if (target_.has_parameters()) {
    target_.refuse_parameters_but(parameter_names(callee(), operation().effect),
                                  is_get_ ? kRequestParameter : "");
  }
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
    throw HttpFault(problem("other-run"), "the request is meant for run " + wanted +
                                              " of the server; this is run " + run);
  }
  const bool is_of_this_run =
      callee().file || room_.runs.is_first() || room_.permanent_services.count(callee().service_id);
  if (wanted.empty() && !is_of_this_run) {
    throw HttpFault(problem("other-run"),
                    "the id " + callee().service_id +
                        " may be of an earlier run of the server; expected the field "
                        "Korvane-Run, or the project's address");
  }
}

krv::rpc4::EncodedRequest Call::encoded_request(const std::string& body,
                                                std::string& parameter) const {
  if (!is_get_) return {request_form_, body};
  const std::optional<std::string> whole = target_.parameter(kRequestParameter);
  const auto members = target_.members_of(kRequestParameter);
  if (whole && !members.empty()) {
    throw HttpFault(400,
                    "the address has the request as JSON and field by field; expected one of both");
  }
  parameter = members.empty() ? whole.value_or("{}") : json_of(members, operation().request);
  return {request_form_, parameter};
}

bool Call::is_on(const std::string& name) const {
  const std::string value = plain_truth(target_.parameter(name).value_or("false"));
  if (value == "true" || value == "false") return value == "true";
  throw HttpFault(400, "the parameter " + name + " is \"" + value + "\"; expected true or false");
}

bool Call::may_create() const {
  return is_on("create") && operation().effect == krv::rpc4::Effect::writes && !is_dry_run();
}

bool Call::is_dry_run() const { return mounted() == nullptr && is_on(kDryRunParameter); }

}  // namespace korvane::host
