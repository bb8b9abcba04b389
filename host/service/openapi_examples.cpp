#include "host/service/openapi_examples.h"

#include <string>

namespace korvane::host::openapi {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kJson = "application/json";
constexpr const char* kText = "text/plain";

/// The examples of one path, which the components of the document take once.
class PathExamples {
 public:
  PathExamples(const std::string& name, const Json& example, Json& components)
      : name_(name), example_(example), components_(components) {}

  void add_to(Json& operation) {
    if (operation.contains("parameters")) {
      for (Json& parameter : operation["parameters"]) add_to_parameter(parameter);
    }
    if (operation.contains("requestBody")) {
      Json& content = operation["requestBody"]["content"];
      add(content, kJson, "body", "request");
      add(content, kText, "text", "text");
    }
    Json& reply = operation["responses"]["200"];
    if (reply.contains("content")) add(reply["content"], kJson, "reply", "reply");
  }

 private:
  void add(Json& content, const char* type, const char* member, const char* kind) {
    if (!content.contains(type) || !example_.contains(member)) return;
    const std::string key = name_ + "." + kind;
    components_[key] = {{"value", example_[member]}};
    content[type]["examples"] = {{"example", {{"$ref", "#/components/examples/" + key}}}};
  }

  void add_to_parameter(Json& parameter) {
    const std::string name = parameter.value("name", "");
    if (name == "request" && example_.contains("body")) {
      if (parameter.contains("content")) {
        parameter["content"][kJson]["example"] = example_["body"];
      } else {
        parameter["example"] = example_["body"];
      }
    } else if (example_.contains("query") && example_["query"].contains(name)) {
      parameter["example"] = example_["query"][name];
    }
  }

  const std::string& name_;
  const Json& example_;
  Json& components_;
};

}  // namespace

void add_examples(Json& document, std::string_view examples) {
  const Json all = Json::parse(examples);
  Json components = Json::object();
  for (auto& [path, item] : document["paths"].items()) {
    const std::string name = path.substr(path.rfind('/') + 1);
    if (!all.contains(name)) continue;
    PathExamples one(name, all[name], components);
    for (const char* const method : {"get", "post"}) {
      if (item.contains(method)) one.add_to(item[method]);
    }
  }
  document["components"]["examples"] = std::move(components);
}

}  // namespace korvane::host::openapi
