#include "host/service/openapi.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <nlohmann/json.hpp>

#include "host/service/call_room.h"
#include "host/service/openapi_3_0.h"
#include "host/service/openapi_components.h"
#include "host/service/openapi_examples.h"
#include "host/service/representation.h"
#include "platform/rpc4/directory.h"
#include "platform/rpc4/services.h"

namespace korvane::host {

using encoding::FieldForm;
using encoding::SchemaOf;
using krv::rpc4::Contract;
using krv::rpc4::Effect;
using krv::rpc4::LiveService;
using krv::rpc4::Operation;
using krv::rpc4::ServiceDefinition;
using openapi::Json;
using openapi::parameter_reference;
using openapi::reply_headers;
using openapi::schema_reference;

namespace {

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

/// Who may call an operation of that effect, and what it does.
std::string effect_text(Effect effect) {
  switch (effect) {
    case Effect::reads:
      return "Changes nothing. Needs the scope `read`.";
    case Effect::writes:
      return "What it writes is in the file once the reply is 200. Needs the scope `write`.";
    case Effect::opens:
      return "Makes the file if it is not there, which needs the scope `write`; else `read` will "
             "do.";
    case Effect::queries:
      break;
  }
  return "By GET, and without the scope `sql`, the statement may only read, and the reply has a "
         "limited number of rows. Needs the scope `read` or `sql`.";
}

std::string sentence(std::string_view text) {
  std::string whole(text);
  if (!whole.empty() && whole.back() != '.') whole += '.';
  return whole;
}

/// The first sentence of a text, for what nobody has summed up.
std::string first_sentence(std::string_view text) {
  return std::string(text.substr(0, std::min(text.find(". "), text.rfind('.'))));
}

Json described_operation(const std::string& tag, const std::string& id, const Operation& operation,
                         std::string_view summary, std::string_view text) {
  std::string description = sentence(text.empty() ? summary : text);
  if (!description.empty()) description += "\n\n";
  return {{"tags", {tag}},
          {"operationId", id},
          {"summary", summary.empty() ? first_sentence(text) : std::string(summary)},
          {"description", description + effect_text(operation.effect)}};
}

/// Whether a client can keep the reply, and ask whether it still holds.
bool has_tag(const DescribedService& service, const Operation& operation) {
  return service.callees == Callees::project_files && operation.effect == Effect::reads;
}

Json responses(const char* text, Json content, const std::vector<const char*>& headers = {}) {
  return {{"200",
           {{"description", text},
            {"headers", reply_headers(headers)},
            {"content", std::move(content)}}},
          {"default", openapi::problem_reference()}};
}

/// Adds to a GET that the client may have its reply already.
void add_tag(Json& get) {
  get["parameters"].push_back(parameter_reference("known"));
  Json& all = get["responses"];
  all["200"]["headers"] = reply_headers({"ETag"});
  const Json other = std::exchange(all, Json{{"200", all["200"]}});
  all["304"] = openapi::not_modified_reference();
  all["default"] = other["default"];
}

/// Makes the paths of a document, and collects the schemas that they refer to.
class Paths {
 public:
  explicit Paths(Edition edition)
      : edition_(edition), schemas_{{"Problem", openapi::document_schema("Problem")}} {}

  void add(const Route& route);
  void add(const DescribedService& service, const Operation& operation);
  void add(const MountedRoute& route);

  Json take() { return std::move(paths_); }
  const encoding::JsonSchemas& schemas() const { return schemas_; }

 private:
  Json content(const std::string& schema) const;
  Json operation_responses(const Operation& operation);
  Json get(const DescribedService& service, const Operation& operation, const std::string& id);
  Json request_parameter(const Contract& request);
  Json mounted_content(const std::vector<std::string>& types,
                       const std::vector<MountedSchema>& schemas, bool is_reply);

  const Edition edition_;
  Json paths_ = Json::object();
  encoding::JsonSchemas schemas_;
};

/// A body in every form that it is served in.
Json Paths::content(const std::string& schema) const {
  Json all = {{media_type(Representation::json), {{"schema", schema_reference(schema)}}}};
  if (edition_ == Edition::whole) {
    all[std::string(media_type(Representation::compact_binary))] = {
        {"schema", {{"type", "string"}, {"format", "binary"}}}};
  }
  return all;
}

void Paths::add(const Route& route) {
  if (!route.description) return;
  const RouteDescription& described = *route.description;
  schemas_.emplace(described.schema, openapi::document_schema(described.schema));
  const Json schema = {{"schema", schema_reference(described.schema)}};
  paths_[std::string(route.path)]["get"] = {
      {"tags", {described.tag}},
      {"operationId", described.id},
      {"summary", first_sentence(described.text)},
      {"description", described.text},
      {"responses", responses(described.reply, {{media_type(Representation::json), schema}})}};
}

Json Paths::operation_responses(const Operation& operation) {
  std::vector<const char*> headers;
  if (operation.effect == Effect::queries) headers.push_back("Korvane-Truncated");
  return responses("The reply.", content(operation.reply.add_schema(schemas_, SchemaOf::reply)),
                   headers);
}

/// As fields of their own where all of them can stand so in an address, else as JSON.
Json Paths::request_parameter(const Contract& request) {
  const std::string name = request.add_schema(schemas_, SchemaOf::request);
  bool is_flat = true;
  for (const auto& [field, schema] : schemas_.at(name).at("properties").items()) {
    is_flat = is_flat && request.form_of_field(field) != FieldForm::composite;
  }
  Json parameter = {{"name", "request"}, {"in", "query"}, {"required", false}};
  if (is_flat) {
    parameter["description"] =
        "The request, a field a parameter: `request[id]=1`; what is left out has its default. "
        "Instead, `request` alone takes it as JSON.";
    parameter["style"] = "deepObject";
    parameter["explode"] = true;
    parameter["schema"] = schema_reference(name);
  } else {
    parameter["description"] = "The request as JSON; left out, all its fields have their defaults.";
    parameter["content"] = {
        {media_type(Representation::json), {{"schema", schema_reference(name)}}}};
  }
  return parameter;
}

Json Paths::get(const DescribedService& service, const Operation& operation,
                const std::string& id) {
  Json get = described_operation(plain_name(*service.definition), id + ".get", operation,
                                 operation.summary, operation.text);
  get["parameters"] = Json::array({request_parameter(operation.request)});
  get["responses"] = operation_responses(operation);
  if (has_tag(service, operation)) add_tag(get);
  return get;
}

void Paths::add(const DescribedService& service, const Operation& operation) {
  const bool is_of_file = service.callees == Callees::project_files;
  const std::string tag = plain_name(*service.definition);
  const std::string id =
      tag + "." + std::string(operation.name) + (is_of_file || service.id ? "" : ".by_id");
  Json item = Json::object();
  item["parameters"] = Json::array();
  if (is_of_file) item["parameters"].push_back(parameter_reference("file"));
  if (!is_of_file && !service.id) item["parameters"].push_back(parameter_reference("service_id"));
  item["parameters"].push_back(parameter_reference("run"));
  Json post = described_operation(tag, id, operation, operation.summary, operation.text);
  if (operation.effect == Effect::writes) {
    post["parameters"] = Json::array();
    if (is_of_file) post["parameters"].push_back(parameter_reference("create"));
    for (const char* const name : {"dry_run", "key", "seen"}) {
      post["parameters"].push_back(parameter_reference(name));
    }
  } else if (operation.effect == Effect::queries) {
    post["parameters"] = {parameter_reference("dry_run"), parameter_reference("key")};
  }
  post["requestBody"] = {
      {"required", true},
      {"content", content(operation.request.add_schema(schemas_, SchemaOf::request))}};
  post["responses"] = operation_responses(operation);
  item["post"] = std::move(post);
  if (is_served_by_get(operation)) item["get"] = get(service, operation, id);
  paths_[path_of(service, operation)] = std::move(item);
}

/// Whether the bytes of that media type are text.
bool is_text(const std::string& type) {
  return type.starts_with("text/") || type.ends_with("+xml") || type.ends_with("json");
}

/// What a mounted route takes or gives. Only JSON has a schema.
Json Paths::mounted_content(const std::vector<std::string>& types,
                            const std::vector<MountedSchema>& schemas, bool is_reply) {
  const std::string json(media_type(Representation::json));
  for (const MountedSchema& schema : schemas) {
    Json text = Json::parse(schema.json);
    const auto [present, is_new] = schemas_.try_emplace(schema.name, text);
    if (!is_new && present->second != text) {
      throw std::logic_error("two schemas are called " + schema.name);
    }
  }
  const bool has_json = std::find(types.begin(), types.end(), json) != types.end();
  Json content = Json::object();
  for (const std::string& type : types) {
    if (is_reply && has_json && type != json && edition_ != Edition::whole) continue;
    content[type] = Json::object();
    if (type != json) {
      content[type]["schema"] = {{"type", "string"}};
      if (!is_text(type)) content[type]["schema"]["format"] = "binary";
    } else if (!schemas.empty()) {
      content[type]["schema"] = schema_reference(schemas.front().name);
    }
  }
  return content;
}

Json described_parameter(const MountedParameter& parameter) {
  Json schema = {{"type", "string"}};
  std::string text = sentence(parameter.text);
  if (parameter.values == on_or_off()) {
    schema = {{"type", "boolean"}};
    text += " Default: false.";
  } else if (parameter.is_number) {
    schema = {{"type", "integer"}};
  } else if (!parameter.values.empty()) {
    schema["enum"] = parameter.values;
  }
  return {{"name", parameter.name},
          {"in", "query"},
          {"required", parameter.is_required},
          {"description", std::move(text)},
          {"schema", std::move(schema)}};
}

void Paths::add(const MountedRoute& route) {
  const bool reads = route.operation.effect == Effect::reads;
  Json described = described_operation("Projects", "Projects." + std::string(route.operation.name),
                                       route.operation, route.summary, route.text);
  described["parameters"] = Json::array();
  for (const MountedParameter& one : route.parameters) {
    described["parameters"].push_back(described_parameter(one));
  }
  if (!reads) {
    if (creates(route)) described["parameters"].push_back(parameter_reference("create"));
    described["parameters"].push_back(parameter_reference("key"));
    if (route.goes_by_if_match) described["parameters"].push_back(parameter_reference("seen"));
    described["requestBody"] = {
        {"required", true},
        {"content", mounted_content(route.request_types, route.request_schemas, false)}};
  }
  described["responses"] =
      responses("The result.", mounted_content(route.reply_types, route.reply_schemas, true));
  if (reads) add_tag(described);
  paths_[path_of({nullptr, Callees::project_files}, route.operation)] = {
      {"parameters", {parameter_reference("file"), parameter_reference("run")}},
      {reads ? "get" : "post", std::move(described)}};
}

Json tags() {
  const auto tag = [](const char* name, const char* description) {
    return Json{{"name", name}, {"description", description}};
  };
  return {tag("Server", "The server itself."),
          tag("Projects", "Project files, and what is done with the whole schedule of one."),
          tag("Project_Service",
              "The operations of a project: by the name of its file, or `.by_id` by the id of a "
              "project that was opened."),
          tag("ProjectManager_Service", "Opens projects, and lists those that are open.")};
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
                             const std::vector<MountedRoute>& mounted, Edition edition,
                             std::string_view examples) {
  Paths paths(edition);
  for (const Route& route : routes()) paths.add(route);
  for (const DescribedService& service : services) {
    for (const Operation& operation : service.definition->operations) {
      paths.add(service, operation);
    }
  }
  for (const MountedRoute& route : mounted) paths.add(route);
  Json document = {
      {"openapi", "3.1.0"},
      {"info",
       {{"title", "korvane"},
        {"version", "1"},
        {"description", "The services of this server and their operations."}}},
      {"servers", {{{"url", "/"}}}},
      {"tags", tags()},
      {"paths", paths.take()},
      {"components", openapi::components(paths.schemas())},
      // A token is needed only where the server was given some.
      {"security", {{{"token", Json::array()}}, Json::object()}},
  };
  if (!examples.empty()) openapi::add_examples(document, examples);
  if (edition == Edition::json_3_0) openapi::rewrite_as_3_0(document);
  return document.dump() + "\n";
}

}  // namespace korvane::host
