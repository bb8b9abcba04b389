#include "contracts/encoding/bond_schema.h"

#include <algorithm>
#include <functional>
#include <map>
#include <set>

#include "contracts/cad/contracts.describe.h"
#include "contracts/common/contracts.describe.h"
#include "contracts/geometry/contracts.describe.h"

namespace korvane::encoding {

std::string schema_file_name(const std::string& schema_namespace) {
  return schema_namespace + ".bond";
}

std::string schema_file_text(const SchemaNamespace& schema) {
  std::map<std::string, const SchemaDeclaration*> own;
  std::set<std::string> imports;
  for (const SchemaDeclaration& declaration : schema.declarations) {
    own.emplace(declaration.qualified_name, &declaration);
    for (const std::string& name : declaration.uses) imports.insert(detail::namespace_of(name));
  }
  imports.erase(schema.name);

  std::string text;
  for (const std::string& name : imports) text += "import \"" + schema_file_name(name) + "\"\n";
  if (!imports.empty()) text += "\n";
  text += "namespace " + schema.name + "\n";

  // No record holds itself, so this ends.
  const std::function<void(const SchemaDeclaration&)> declare =
      [&](const SchemaDeclaration& declaration) {
        if (own.erase(declaration.qualified_name) == 0) return;
        for (const std::string& name : declaration.uses) {
          const auto used = own.find(name);
          if (used != own.end()) declare(*used->second);
        }
        text += "\n" + declaration.text;
      };
  for (const SchemaDeclaration& declaration : schema.declarations) declare(declaration);
  return text;
}

std::string detail::namespace_of(std::string_view qualified_name) {
  const std::size_t dot = qualified_name.rfind('.');
  return std::string(qualified_name.substr(0, dot == std::string_view::npos ? 0 : dot));
}

#define DECLARE_ENUMERATION(name) schema.declarations.push_back(enum_declaration<name>());
#define DECLARE_CONTRACT(name) schema.declarations.push_back(struct_declaration<name>());

SchemaNamespace common_schema() {
  SchemaNamespace schema{"korvane", {}};
  KORVANE_COMMON_ENUMERATIONS(DECLARE_ENUMERATION)
  KORVANE_COMMON_CONTRACTS(DECLARE_CONTRACT)
  schema.declarations.push_back(generic_declaration<Batch>());
  schema.declarations.push_back(generic_declaration<OptionalValue>());
  return schema;
}

SchemaNamespace geometry_schema() {
  using namespace model::geometry;
  SchemaNamespace schema{"korvane.model.geometry", {}};
  KORVANE_GEOMETRY_ENUMERATIONS(DECLARE_ENUMERATION)
  KORVANE_GEOMETRY_CONTRACTS(DECLARE_CONTRACT)
  return schema;
}

SchemaNamespace cad_schema() {
  using namespace model::cad;
  SchemaNamespace schema{"korvane.model.cad", {}};
  KORVANE_CAD_ENUMERATIONS(DECLARE_ENUMERATION)
  KORVANE_CAD_CONTRACTS(DECLARE_CONTRACT)
  return schema;
}

}  // namespace korvane::encoding
