#pragma once

#include <fstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "contracts/cad/contracts.describe.h"
#include "model/plugins/korvane.model.cad.project/project.h"
#include "tests/support/content_kinds.h"
#include "tests/support/entity_kinds.h"
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
  std::vector<Revision> revisions;
  for_each_entity([&]<class Entity>() {
    Batch<typename Entity::Record> listed;
    (project.*Entity::list)({}, listed);
    add(Entity::list_name, listed.items);
    if constexpr (std::is_same_v<Entity, RevisionEntity>) revisions = listed.items;
  });
  for (const Revision& revision : revisions) {
    for_each_content_read([&]<class Read>() {
      // Bars have two reads, which give the same.
      if (std::is_same_v<Read, GetAllRebars>) return;
      add(Read::name, read_content<Read>(project, revision.id));
    });
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
