#include "host/service/mounted.h"

#include <algorithm>

namespace korvane::host {

namespace {

std::string listed(const std::vector<std::string>& values) {
  std::string text;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i != 0) text += i + 1 == values.size() ? " or " : ", ";
    text += values[i];
  }
  return text;
}

}  // namespace

std::vector<std::string> on_or_off() { return {"true", "false"}; }

std::string plain_truth(const std::string& text) {
  if (text == "True") return "true";
  return text == "False" ? "false" : text;
}

std::optional<std::string> MountedCall::parameter(const std::string& name) const {
  const auto found = parameters.find(name);
  if (found == parameters.end()) return std::nullopt;
  return found->second;
}

bool MountedCall::has(const std::string& name) const { return parameter(name) == "true"; }

krv::rpc4::Operation mounted_operation(std::string_view name, krv::rpc4::Effect effect) {
  return {name, effect, {}, {}, nullptr, nullptr};
}

MountedRoute changes_route() {
  MountedRoute route;
  route.operation = mounted_operation("changes", krv::rpc4::Effect::reads);
  route.summary = "Tells of changes as they happen";
  route.text =
      "Server-sent events for as long as the client listens. The first, `state`, is sent at once. "
      "A "
      "`change` says which operation has changed the project, by which client, when, and what: "
      "`kind` and `id` of a sheet, revision or catalogue entry, or null where it is more than one. "
      "What another program did has no operation and no client. After `missed` the client reads "
      "again what it shows. The stream ends when the server is reloaded or stops.";
  route.reply_types = {"text/event-stream"};
  route.watches = true;
  return route;
}

std::vector<std::string> methods_of(const MountedRoute& route) {
  if (route.operation.effect == krv::rpc4::Effect::reads) return {"GET", "HEAD"};
  return {"POST"};
}

bool creates(const MountedRoute& route) {
  return route.operation.effect == krv::rpc4::Effect::writes && route.can_create;
}

std::map<std::string, std::string> parameters_of(const MountedRoute& route, const Target& target) {
  std::vector<std::string> known;
  for (const MountedParameter& parameter : route.parameters) known.push_back(parameter.name);
  if (creates(route)) known.emplace_back("create");
  target.refuse_parameters_but(known);
  std::map<std::string, std::string> found;
  for (const MountedParameter& parameter : route.parameters) {
    std::optional<std::string> value = target.parameter(parameter.name);
    const auto refuse = [&](const std::string& text) {
      throw HttpFault(400, "the parameter " + parameter.name + " is " + text);
    };
    if (!value) {
      if (parameter.is_required) refuse("missing: " + parameter.text);
      continue;
    }
    const std::vector<std::string>& values = parameter.values;
    if (values == on_or_off()) value = plain_truth(*value);
    if (!values.empty() && std::find(values.begin(), values.end(), *value) == values.end()) {
      refuse("\"" + *value + "\"; expected " + listed(values));
    }
    found.emplace(parameter.name, *value);
  }
  return found;
}

}  // namespace korvane::host
