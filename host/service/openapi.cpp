#include "host/service/openapi.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "host/service/call_room.h"
#include "host/service/representation.h"
#include "platform/rpc4/directory.h"
#include "platform/rpc4/services.h"

namespace korvane::host {

using Json = nlohmann::ordered_json;
using krv::rpc4::Effect;
using krv::rpc4::LiveService;
using krv::rpc4::Operation;
using krv::rpc4::ServiceDefinition;

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
Json common_parameters(const DescribedService& service) {
  if (service.callees == Callees::project_files) return {parameter("file"), parameter("run")};
  if (!service.id) return {parameter("service_id"), parameter("run")};
  return Json::array({parameter("run")});
}

std::string path_of(const DescribedService& service, const Operation& operation) {
  std::string path(route_to(service.callees).path);
  const auto fill = [&](std::string_view place, std::string_view value) {
    path.replace(path.find(place), place.size(), value);
  };
  fill("{operation}", operation.name);
  if (service.id) fill("{service_id}", *service.id);
  return path;
}

/// "Project_Service" of "korvane.model.cad.Project_Service".
std::string plain_name(const ServiceDefinition& definition) {
  return std::string(definition.name.substr(definition.name.rfind('.') + 1));
}

Json path_item(const DescribedService& service, const Operation& operation,
               encoding::JsonSchemas& schemas) {
  const std::string request_schema = operation.request.add_schema(schemas);
  const std::string reply_schema = operation.reply.add_schema(schemas);
  const bool is_of_file = service.callees == Callees::project_files;
  const std::string tag = plain_name(*service.definition);
  const std::string id =
      tag + "." + std::string(operation.name) + (is_of_file || service.id ? "" : ".by_id");
  Json item = {{"parameters", common_parameters(service)}};
  Json post = described_operation(operation, tag);
  post["operationId"] = id;
  if (is_of_file && operation.effect == Effect::writes) {
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

/// A route that is not of operations.
Json document_item(const RouteDescription& description) {
  return {
      {"get",
       {{"tags", {description.tag}},
        {"operationId", description.id},
        {"description", description.text},
        {"responses",
         {{"200",
           {{"description", description.reply},
            {"content",
             {{media_type(Representation::json), {{"schema", reference(description.schema)}}}}}}},
          {"default", {{"$ref", "#/components/responses/Problem"}}}}}}}};
}

/// What a mounted route takes or gives: texts or files, which have no schema.
Json plain_content(const std::vector<std::string>& types) {
  Json content = Json::object();
  for (const std::string& type : types) {
    content[type] = Json::object();
    if (type != media_type(Representation::json)) content[type]["schema"] = {{"type", "string"}};
  }
  return content;
}

Json described_parameter(const MountedParameter& parameter) {
  Json schema = {{"type", "string"}};
  if (parameter.values == on_or_off()) {
    schema = {{"type", "boolean"}, {"default", false}};
  } else if (!parameter.values.empty()) {
    schema["enum"] = parameter.values;
  }
  return {{"name", parameter.name},
          {"in", "query"},
          {"required", parameter.is_required},
          {"description", parameter.text},
          {"schema", std::move(schema)}};
}

Json mounted_item(const MountedRoute& route) {
  const bool reads = route.operation.effect == Effect::reads;
  Json described = {{"tags", {"Projects"}},
                    {"operationId", "Projects." + std::string(route.operation.name)},
                    {"description", route.text},
                    {"parameters", Json::array()}};
  for (const MountedParameter& one : route.parameters) {
    described["parameters"].push_back(described_parameter(one));
  }
  if (!reads) {
    described["parameters"].push_back(parameter("create"));
    described["requestBody"] = {{"required", true},
                                {"content", plain_content(route.request_types)}};
  }
  described["responses"] = {
      {"200", {{"description", "The result."}, {"content", plain_content(route.reply_types)}}},
      {"default", {{"$ref", "#/components/responses/Problem"}}}};
  return {{"parameters", {parameter("file"), parameter("run")}},
          {reads ? "get" : "post", std::move(described)}};
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
          {"content", {{krv::rpc4::kProblemMediaType, {{"schema", reference("Problem")}}}}}}}}},
      {"securitySchemes", {{"token", {{"type", "http"}, {"scheme", "bearer"}}}}}};
  for (const auto& [name, schema] : schemas) result["schemas"][name] = schema;
  result["schemas"]["Problem"] = problem_schema();
  result["schemas"]["ProjectFiles"] = project_files_schema();
  return result;
}

}  // namespace

std::vector<DescribedService> described_services() {
  std::vector<DescribedService> services = {{&project_definition(), Callees::project_files}};
  const std::vector<LiveService> live_services = krv::rpc4::live_services();
  for (const LiveService& live : live_services) {
    services.push_back({live.definition, Callees::service_ids, live.id});
  }
  for (const ServiceDefinition* const definition : krv::rpc4::service_definitions()) {
    const bool is_live =
        std::any_of(live_services.begin(), live_services.end(),
                    [&](const auto& live) { return live.definition == definition; });
    if (!is_live) services.push_back({definition, Callees::service_ids});
  }
  return services;
}

std::string openapi_document(const std::vector<DescribedService>& services,
                             const std::vector<MountedRoute>& mounted) {
  encoding::JsonSchemas schemas;
  Json paths = Json::object();
  for (const Route& route : routes()) {
    if (route.description) paths[std::string(route.path)] = document_item(*route.description);
  }
  for (const DescribedService& service : services) {
    for (const Operation& operation : service.definition->operations) {
      paths[path_of(service, operation)] = path_item(service, operation, schemas);
    }
  }
  for (const MountedRoute& route : mounted) {
    paths[path_of({nullptr, Callees::project_files}, route.operation)] = mounted_item(route);
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

}  // namespace korvane::host
