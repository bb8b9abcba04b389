#include "host/service/openapi_components.h"

#include <initializer_list>
#include <stdexcept>
#include <utility>

#include "host/access/tokens.h"
#include "platform/rpc4/http.h"

namespace korvane::host::openapi {

namespace {

constexpr const char* kInteger64 = "int64";

Json reference(const char* kind, const std::string& name) {
  return {{"$ref", "#/components/" + std::string(kind) + "/" + name}};
}

Json text(const char* description) { return {{"type", "string"}, {"description", description}}; }

Json object(const char* description, std::initializer_list<std::pair<const char*, Json>> members) {
  Json schema = {{"type", "object"}, {"description", description}, {"required", Json::array()}};
  for (const auto& [name, member] : members) {
    schema["required"].push_back(name);
    schema["properties"][name] = member;
  }
  return schema;
}

Json project_files_schema() {
  Json file = object(
      "A project file.",
      {{"file", text("Its path under the server's folder: by this name it is addressed.")},
       {"size",
        {{"type", "integer"}, {"format", kInteger64}, {"description", "Its size. Unit: bytes."}}},
       {"changed",
        {{"type", "string"}, {"format", "date-time"}, {"description", "When it was changed."}}},
       {"is_open", {{"type", "boolean"}, {"description", "Whether the server has it open."}}}});
  Json list = {{"type", "array"},
               {"items", std::move(file)},
               {"description", "The files, in the order of their names."}};
  return object("The project files in the server's folder.", {{"projects", std::move(list)}});
}

Json access_schema() {
  Json names = Json::array();
  for (const Scope scope : all_scopes()) names.push_back(scope_name(scope));
  Json scopes = {{"type", "array"},
                 {"items", {{"type", "string"}, {"enum", std::move(names)}}},
                 {"description", "What the client may do."}};
  return object("Who the client is to the server.",
                {{"client", text("The name of its token; without tokens its address.")},
                 {"scopes", std::move(scopes)}});
}

Json problem_schema() {
  Json place = object("A place in the request.",
                      {{"pointer", text("A JSON pointer to it: \"#/items/17/rev_id\".")},
                       {"detail", text("What is wrong with it.")}});
  place["properties"]["mark"] = text("The mark of the item, if it has one.");
  Json problem = object(
      "What went wrong (RFC 9457).",
      {{"type", text("What kind of problem it is, for programs: \"urn:korvane:problem:locked\".")},
       {"title", text("The name of the status.")},
       {"status", {{"type", "integer"}, {"description", "The status of the reply."}}},
       {"detail", text("What failed, for people: it names the input and what was expected.")}});
  problem["properties"]["errors"] = {
      {"type", "array"},
      {"description", "What of the request is to blame, where it is one record of it."},
      {"items", std::move(place)}};
  return problem;
}

Json header(const char* description, Json schema = {{"type", "string"}}) {
  return {{"description", description}, {"schema", std::move(schema)}};
}

Json headers() {
  return {{"Korvane-Run",
           header("The run of the server, in which ids of services hold. A request with this field "
                  "is refused by any other run.")},
          {"Request-Id", header("The id of the request, under which the server's log has it: the "
                                "one that the request brought, else a new one.")},
          {"ETag",
           header("The state of the project that the reply is of, if the server knows it. Sent as "
                  "If-None-Match, the reply comes again only if the project has changed.")},
          {"Retry-After", header("After how many seconds it is worth trying again.",
                                 {{"type", "integer"}, {"minimum", 0}})},
          {"Korvane-Truncated",
           header("\"rows=N\": there were more rows than the N that the reply has. Not there if it "
                  "has all.")}};
}

Json path_parameter(const char* name, const char* description, const char* example = nullptr) {
  Json parameter = {{"name", name},
                    {"in", "path"},
                    {"required", true},
                    {"description", description},
                    {"schema", {{"type", "string"}}}};
  if (example != nullptr) parameter["example"] = example;
  return parameter;
}

Json header_parameter(const char* name, const char* description) {
  return {{"name", name},
          {"in", "header"},
          {"required", false},
          {"description", description},
          {"schema", {{"type", "string"}}}};
}

Json parameters() {
  return {
      {"file", path_parameter("file",
                              "The project's file in the server's folder; a slash in its "
                              "name is encoded as %2F.",
                              "tower.db")},
      {"service_id",
       path_parameter("service_id", "The id that opening the project has given, in this run.")},
      {"create",
       {{"name", "create"},
        {"in", "query"},
        {"required", false},
        {"description", "Whether the project is made if it is not there. Default: false."},
        {"example", true},
        {"schema", {{"type", "boolean"}}}}},
      {"run", header_parameter("Korvane-Run",
                               "The run of the server that the request is meant for, as every "
                               "reply tells it. In another one it is refused with 412, and "
                               "nothing is done.")},
      {"known", header_parameter("If-None-Match",
                                 "The ETag of the reply that the client has. If the project "
                                 "has not changed since, the answer is 304 without a body.")},
      {"key", header_parameter("Idempotency-Key",
                               "Names the request, so that it can be repeated: within a day it is "
                               "carried out once, and gets the same answer again. 1 to 255 visible "
                               "ASCII characters; another request needs another key.")},
      {"dry_run",
       {{"name", "dry_run"},
        {"in", "query"},
        {"required", false},
        {"description", "Whether to answer as if it was done, and store nothing. Default: false."},
        {"schema", {{"type", "boolean"}}}}},
      {"seen", header_parameter("If-Match",
                                "The state that the client has seen, as a reply named it. If it is "
                                "another by now, the answer is 412, and nothing is done.")}};
}

}  // namespace

Json schema_reference(const std::string& schema) { return reference("schemas", schema); }

Json parameter_reference(const char* name) { return reference("parameters", name); }

Json reply_headers(const std::vector<const char*>& besides) {
  Json all = {{"Korvane-Run", reference("headers", "Korvane-Run")},
              {"Request-Id", reference("headers", "Request-Id")}};
  for (const char* const name : besides) all[name] = reference("headers", name);
  return all;
}

Json problem_reference() { return reference("responses", "Problem"); }

Json not_modified_reference() { return reference("responses", "NotModified"); }

Json document_schema(const std::string& name) {
  if (name == "ProjectFiles") return project_files_schema();
  if (name == "Access") return access_schema();
  if (name == "Problem") return problem_schema();
  throw std::logic_error("no schema is called " + name);
}

Json components(const encoding::JsonSchemas& schemas) {
  Json result = {
      {"schemas", Json::object()},
      {"parameters", parameters()},
      {"headers", headers()},
      {"responses",
       {{"Problem",
         {{"description", "What went wrong (RFC 9457)."},
          {"headers", reply_headers({"Retry-After"})},
          {"content",
           {{krv::rpc4::kProblemMediaType, {{"schema", schema_reference("Problem")}}}}}}},
        {"NotModified",
         {{"description", "The client has the reply already."},
          {"headers", reply_headers({"ETag"})}}}}},
      {"securitySchemes",
       {{"token",
         {{"type", "http"},
          {"scheme", "bearer"},
          {"description", "A token that `korvane token` made, if the server was given any."}}}}}};
  for (const auto& [name, schema] : schemas) result["schemas"][name] = schema;
  return result;
}

}  // namespace korvane::host::openapi
