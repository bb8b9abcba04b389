#include "host/openapi.h"

#include <nlohmann/json.hpp>

#include "bond/describe.h"
#include "host/representation.h"

namespace korvane::host {

using Json = nlohmann::ordered_json;
using krv::rpc4::Effect;
using krv::rpc4::Operation;

namespace {

Json reference(const std::string& schema) { return {{"$ref", "#/components/schemas/" + schema}}; }

/// A body in either representation.
Json content(const std::string& schema) {
  return {{media_type(Representation::json), {{"schema", reference(schema)}}},
          {media_type(Representation::compact_binary),
           {{"schema", {{"type", "string"}, {"format", "binary"}}}}}};
}

Json responses(const std::string& reply_schema) {
  return {{"200", {{"description", "The reply."}, {"content", content(reply_schema)}}},
          {"default", {{"$ref", "#/components/responses/Problem"}}}};
}

Json described_operation(const Operation& operation, const std::string& tag) {
  return {{"tags", {tag}},
          {"description", std::string(operation.request.name) + " to " +
                              std::string(operation.reply.name) + "; " +
                              std::string(effect_name(operation.effect))}};
}

Json path_item(const DescribedService& service, const Operation& operation,
               encoding::JsonSchemas& schemas) {
  const std::string request_schema = operation.request.add_schema(schemas);
  const std::string reply_schema = operation.reply.add_schema(schemas);
  const std::string tag(bond::plain_name(service.definition->name));
  const std::string name(operation.name);
  Json item = Json::object();
  if (service.id.empty()) item["parameters"] = {{{"$ref", "#/components/parameters/service_id"}}};
  Json post = described_operation(operation, tag);
  post["operationId"] = tag + "." + name;
  post["requestBody"] = {{"required", true}, {"content", content(request_schema)}};
  post["responses"] = responses(reply_schema);
  item["post"] = std::move(post);
  if (is_served_by_get(operation)) {
    Json get = described_operation(operation, tag);
    get["operationId"] = tag + "." + name + ".get";
    get["parameters"] = {
        {{"name", "request"},
         {"in", "query"},
         {"description", "The request as JSON; left out, all its fields have their defaults."},
         {"content",
          {{media_type(Representation::json), {{"schema", reference(request_schema)}}}}}}};
    get["responses"] = responses(reply_schema);
    item["get"] = std::move(get);
  }
  return item;
}

Json problem_schema() {
  const Json text = {{"type", "string"}};
  return {{"type", "object"},
          {"properties",
           {{"type", text}, {"title", text}, {"status", {{"type", "integer"}}}, {"detail", text}}}};
}

Json components(const encoding::JsonSchemas& schemas) {
  Json result = {
      {"schemas", Json::object()},
      {"parameters",
       {{"service_id",
         {{"name", "service_id"},
          {"in", "path"},
          {"required", true},
          {"description", "The id that opening the project has told."},
          {"schema", {{"type", "string"}}}}}}},
      {"responses",
       {{"Problem",
         {{"description", "What went wrong (RFC 9457)."},
          {"content", {{"application/problem+json", {{"schema", reference("Problem")}}}}}}}}},
      {"securitySchemes", {{"token", {{"type", "http"}, {"scheme", "bearer"}}}}}};
  for (const auto& [name, text] : schemas) result["schemas"][name] = Json::parse(text);
  result["schemas"]["Problem"] = problem_schema();
  return result;
}

}  // namespace

std::string openapi_document(const std::vector<DescribedService>& services) {
  encoding::JsonSchemas schemas;
  Json paths = Json::object();
  for (const DescribedService& service : services) {
    const std::string segment = service.id.empty() ? "{service_id}" : service.id;
    for (const Operation& operation : service.definition->operations) {
      paths[operation_path(segment, operation.name)] = path_item(service, operation, schemas);
    }
  }
  const Json document = {
      {"openapi", "3.1.0"},
      {"info",
       {{"title", "korvane"},
        {"version", "1"},
        {"description", "The services of this server and their operations."}}},
      {"servers", {{{"url", "/"}}}},
      {"paths", std::move(paths)},
      {"components", components(schemas)},
      // A token is needed only where the server was given some.
      {"security", {{{"token", Json::array()}}, Json::object()}},
  };
  return document.dump() + "\n";
}

bool is_served_by_get(const Operation& operation) {
  return operation.effect == Effect::reads || operation.effect == Effect::queries;
}

std::string_view effect_name(Effect effect) {
  switch (effect) {
    case Effect::reads:
      return "reads";
    case Effect::writes:
      return "writes";
    case Effect::opens:
      return "opens";
    case Effect::queries:
      break;
  }
  return "queries";
}

std::string operation_path(const std::string& service_segment, std::string_view operation) {
  return "/v1/" + service_segment + "/" + std::string(operation);
}

}  // namespace korvane::host
