#include "platform/project_rpc/idl_files.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "bond/describe.h"
#include "contracts/cad/contracts.h"
#include "contracts/common/contracts.h"
#include "contracts/encoding/idl.h"
#include "contracts/geometry/contracts.h"
#include "platform/project_rpc/contracts.h"
#include "platform/rpc4/services.h"

namespace korvane::rpc {

namespace {

using encoding::IdlNamespace;

/// All declarations, by namespace.
std::vector<IdlNamespace> declared_namespaces() {
  std::vector<IdlNamespace> all = {{"korvane", {}},
                                   {"korvane.model.geometry", {}},
                                   {"korvane.model.cad", {}},
                                   {"korvane.model", {}},
                                   {"korvane.model.table", {}}};
  const auto add = [&](encoding::IdlDeclaration declaration) {
    const std::string_view name = bond::namespace_name(declaration.qualified_name);
    const auto own = std::find_if(all.begin(), all.end(),
                                  [&](const IdlNamespace& each) { return each.name == name; });
    own->declarations.push_back(std::move(declaration));
  };
#define DECLARE_COMMON(name) add(encoding::idl_declaration<korvane::name>());
#define DECLARE_GEOMETRY(name) add(encoding::idl_declaration<model::geometry::name>());
#define DECLARE_CAD(name) add(encoding::idl_declaration<model::cad::name>());
#define DECLARE_PROJECT_RPC(name) add(encoding::idl_declaration<model::name>());
  KORVANE_COMMON_ENUMERATIONS(DECLARE_COMMON)
  KORVANE_COMMON_CONTRACTS(DECLARE_COMMON)
  add(encoding::idl_generic_declaration<Batch>());
  add(encoding::idl_generic_declaration<OptionalValue>());
  KORVANE_GEOMETRY_ENUMERATIONS(DECLARE_GEOMETRY)
  KORVANE_GEOMETRY_CONTRACTS(DECLARE_GEOMETRY)
  KORVANE_CAD_ENUMERATIONS(DECLARE_CAD)
  KORVANE_CAD_CONTRACTS(DECLARE_CAD)
  KORVANE_PROJECT_RPC_CONTRACTS(DECLARE_PROJECT_RPC)
  return all;
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

std::vector<IdlFile> idl_files() {
  std::vector<IdlFile> files;
  std::string services;
  for (const IdlNamespace& each : declared_namespaces()) {
    files.push_back({encoding::idl_file_name(each.name), encoding::idl_file_text(each)});
    services += "import \"" + files.back().name + "\"\n";
  }
  services += "\nnamespace korvane.model.cad\n";
  for (const auto* const definition : krv::rpc4::service_definitions())
    services += service_text(*definition);
  files.push_back({"korvane.services.bond", std::move(services)});
  return files;
}

}  // namespace korvane::rpc
