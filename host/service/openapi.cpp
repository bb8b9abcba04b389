#include "host/service/openapi.h"

#include <nlohmann/json.hpp>

#include "bond/describe.h"
#include "host/service/representation.h"

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

Json parameter(const char* name) {
  return {{"$ref", std::string("#/components/parameters/") + name}};
}

/// The parameters that every call of the service has.
Json common_parameters(ServiceAddress address) {
  switch (address) {
    case ServiceAddress::file:
      return {parameter("file"), parameter("run")};
    case ServiceAddress::given_id:
      return {parameter("service_id"), parameter("run")};
    case ServiceAddress::id:
      break;
  }
  return Json::array({parameter("run")});
}

std::string path_of(const DescribedService& service, const Operation& operation) {
  const std::string name(operation.name);
  switch (service.address) {
    case ServiceAddress::file:
      return "/v1/projects/{file}/" + name;
    case ServiceAddress::given_id:
      return operation_path("{service_id}", name);
    case ServiceAddress::id:
      break;
  }
  return operation_path(service.id, name);
}

Json path_item(const DescribedService& service, const Operation& operation,
               encoding::JsonSchemas& schemas) {
  const std::string request_schema = operation.request.add_schema(schemas);
  const std::string reply_schema = operation.reply.add_schema(schemas);
  const std::string tag(bond::plain_name(service.definition->name));
  const std::string id = tag + "." + std::string(operation.name) +
                         (service.address == ServiceAddress::given_id ? ".by_id" : "");
  Json item = {{"parameters", common_parameters(service.address)}};
  Json post = described_operation(operation, tag);
  post["operationId"] = id;
  if (service.address == ServiceAddress::file && operation.effect == Effect::writes) {
    post["parameters"] = Json::array({parameter("create")});
  }
  post["requestBody"] = {{"required", true}, {"content", content(request_schema)}};
  post["responses"] = responses(reply_schema);
  item["post"] = std::move(post);
  if (is_served_by_get(operation)) {
    Json get = described_operation(operation, tag);
    get["operationId"] = id + ".get";
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

/// The list of the project files.
Json projects_item() {
  return {{"get",
           {{"tags", {"Projects"}},
            {"operationId", "Projects.list"},
            {"description", "The project files in the server's folder; none is opened for it."},
            {"responses",
             {{"200",
               {{"description", "The files by name."},
                {"content",
                 {{media_type(Representation::json), {{"schema", reference("ProjectFiles")}}}}}}},
              {"default", {{"$ref", "#/components/responses/Problem"}}}}}}}};
}

Json project_files_schema() {
  const Json text = {{"type", "string"}};
  const Json file = {{"type", "object"},
                     {"properties",
                      {{"file", text},
                       {"size", {{"type", "integer"}}},
                       {"changed", {{"type", "string"}, {"format", "date-time"}}},
                       {"is_open", {{"type", "boolean"}}}}}};
  return {{"type", "object"}, {"properties", {{"projects", {{"type", "array"}, {"items", file}}}}}};
}

Json problem_schema() {
  const Json text = {{"type", "string"}};
  return {{"type", "object"},
          {"properties",
           {{"type", text}, {"title", text}, {"status", {{"type", "integer"}}}, {"detail", text}}}};
}

Json path_parameter(const char* name, const char* description) {
  return {{"name", name},
          {"in", "path"},
          {"required", true},
          {"description", description},
          {"schema", {{"type", "string"}}}};
}

Json parameters() {
  return {
      {"file", path_parameter("file",
                              "The project's file in the server's folder; a slash in its "
                              "name is encoded as %2F.")},
      {"service_id",
       path_parameter("service_id", "The id that opening the project has given, in this run.")},
      {"create",
       {{"name", "create"},
        {"in", "query"},
        {"description", "Whether the project is made if it is not there."},
        {"schema", {{"type", "boolean"}, {"default", false}}}}},
      {"run",
       {{"name", "Korvane-Run"},
        {"in", "header"},
        {"description",
         "The run of the server that the request is meant for, as every reply tells it. In another "
         "one it is refused with 412, and nothing is done."},
        {"schema", {{"type", "string"}}}}}};
}

Json components(const encoding::JsonSchemas& schemas) {
  Json result = {
      {"schemas", Json::object()},
      {"parameters", parameters()},
      {"responses",
       {{"Problem",
         {{"description", "What went wrong (RFC 9457)."},
          {"content", {{"application/problem+json", {{"schema", reference("Problem")}}}}}}}}},
      {"securitySchemes", {{"token", {{"type", "http"}, {"scheme", "bearer"}}}}}};
  for (const auto& [name, schema] : schemas) result["schemas"][name] = schema;
  result["schemas"]["Problem"] = problem_schema();
  result["schemas"]["ProjectFiles"] = project_files_schema();
  return result;
}

}  // namespace

std::string openapi_document(const std::vector<DescribedService>& services) {
  encoding::JsonSchemas schemas;
  Json paths = {{"/v1/projects", projects_item()}};
  for (const DescribedService& service : services) {
    for (const Operation& operation : service.definition->operations) {
      paths[path_of(service, operation)] = path_item(service, operation, schemas);
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

}  // namespace korvane::host
