#include "platform/project_rpc/schema_files.h"

#include <algorithm>

#include "contracts/encoding/bond_schema.h"
#include "platform/project_rpc/contracts.h"
#include "platform/project_rpc/open_project.describe.h"
#include "platform/project_rpc/services.h"
#include "platform/project_rpc/table.describe.h"

namespace korvane::rpc {

namespace {

using encoding::SchemaNamespace;
using encoding::struct_declaration;

/// The contracts that belong to the skeletons: two namespaces of one list.
std::vector<SchemaNamespace> skeleton_schemas() {
  std::vector<SchemaNamespace> schemas = {{"korvane.model", {}}, {"korvane.model.table", {}}};
  const auto add = [&](encoding::SchemaDeclaration declaration) {
    const std::string name = encoding::detail::namespace_of(declaration.qualified_name);
    const auto schema = std::find_if(schemas.begin(), schemas.end(),
                                     [&](const auto& candidate) { return candidate.name == name; });
    schema->declarations.push_back(std::move(declaration));
  };
#define DECLARE_CONTRACT(name) add(struct_declaration<model::name>());
  KORVANE_PROJECT_RPC_CONTRACTS(DECLARE_CONTRACT)
  return schemas;
}

std::string service_text(const krv::rpc4::ServiceDefinition& service) {
  std::string text = "\nservice " + std::string(bond::plain_name(service.name)) + "\n{\n";
  for (const krv::rpc4::Operation& operation : service.operations) {
    text += "    " + std::string(operation.reply.name) + " " + std::string(operation.name) + "(" +
            std::string(operation.request.name) + ");\n";
  }
  return text + "}\n";
}

}  // namespace

std::vector<SchemaFile> schema_files() {
  std::vector<SchemaNamespace> schemas = {encoding::common_schema(), encoding::geometry_schema(),
                                          encoding::cad_schema()};
  for (SchemaNamespace& schema : skeleton_schemas()) schemas.push_back(std::move(schema));
  std::vector<SchemaFile> files;
  std::string services;
  for (const SchemaNamespace& schema : schemas) {
    files.push_back({encoding::schema_file_name(schema.name), encoding::schema_file_text(schema)});
    services += "import \"" + files.back().name + "\"\n";
  }
  services += "\nnamespace korvane.model.cad\n";
  for (const auto* const definition : service_definitions()) services += service_text(*definition);
  files.push_back({"korvane.services.bond", std::move(services)});
  return files;
}

}  // namespace korvane::rpc
