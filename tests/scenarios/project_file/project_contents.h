#pragma once

#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "contracts/cad/contracts.describe.h"
#include "model/plugins/korvane.model.cad.project/project.h"
#include "tests/support/vector_json.h"

namespace korvane::test {

/// Every record of a project, as its reads give them: one line of text each, under the operation's
/// name.
inline std::vector<std::string> project_contents(model::cad::Project_Service_Impl& project) {
  using namespace model::cad;
  std::vector<std::string> lines;
  const auto add = [&](const char* operation, const auto& records) {
    for (const auto& record : records) {
      lines.push_back(std::string(operation) + " " + test::vector_text(record));
    }
  };
  ProjectData data;
  project.get_project({}, data);
  lines.push_back("get_project " + test::vector_text(data));
  Batch<Material> materials;
  project.list_materials({}, materials);
  add("list_materials", materials.items);
  Batch<FabricType> types;
  project.list_fabric_type({}, types);
  add("list_fabric_type", types.items);
  Batch<Sheet> sheets;
  project.list_sheets({}, sheets);
  add("list_sheets", sheets.items);
  Batch<Revision> revisions;
  project.list_revisions({}, revisions);
  add("list_revisions", revisions.items);
  for (const Revision& revision : revisions.items) {
    RevisionRef ref;
    ref.id = revision.id;
    Batch<Rebar> bars;
    project.get_rebars(ref, bars);
    add("get_rebars", bars.items);
    FabricRef fabric_ref;
    fabric_ref.rev_id = revision.id;
    Fabrics fabrics;
    project.get_all_fabrics_for_revision(fabric_ref, fabrics);
    add("get_all_fabrics_for_revision", fabrics.fabrics);
    BarSpacers spacers;
    project.get_all_barspacers_for_revision(ref, spacers);
    add("get_all_barspacers_for_revision", spacers.barspacers);
    MountingPartRef part_ref;
    part_ref.rev_id = revision.id;
    MountingParts parts;
    project.get_all_mountingparts_for_revision(part_ref, parts);
    add("get_all_mountingparts_for_revision", parts.mountingParts);
  }
  return lines;
}

inline std::vector<std::string> lines_of(const std::string& filename) {
  std::ifstream file(filename);
  if (!file) throw std::runtime_error("cannot read " + filename);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

}  // namespace korvane::test
