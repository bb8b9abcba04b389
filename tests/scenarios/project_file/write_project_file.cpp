// Writes a project file with rows in every table, and a text file with the records that were sent.
// Run once for each version whose format differs; its files are checked in and never written again.
//
//   write_project_file tests/data/project_files/0.1.0

#include <fstream>
#include <iostream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <boost/log/core.hpp>

#include "tests/scenarios/project_file/project_contents.h"
#include "tests/support/filled_record.h"

int main(int argc, char** argv) {
  using namespace korvane;
  using namespace korvane::model::cad;
  if (argc != 2) {
    std::cerr << "usage: write_project_file NAME\n";
    return 2;
  }
  boost::log::core::get()->set_logging_enabled(false);
  const std::string name = argv[1];
  Project_Service_Impl project(0, name + ".db");
  test::Filler filler;
  GenericReply reply;

  UpdateProject update;
  filler.fill(update.item);
  project.update_project(update, reply);
  MaterialRef material_ref;
  auto material = filler.make<Material>();
  project.create_material(material, material_ref);
  material.id = material_ref.id.value();
  FabricTypeRef type_ref;
  auto type = filler.make<FabricType>();
  type.material = material;
  project.create_fabric_type(type, type_ref);
  type.id = type_ref.id.value();
  SheetRef sheet_ref;
  project.create_sheet(filler.make<Sheet>(), sheet_ref);
  RevisionRef revision_ref;
  auto revision = filler.make<Revision>();
  revision.sheet_id = sheet_ref.id.value();
  project.create_revision(revision, revision_ref);

  // Of each kind one record with all its fields and one with what the table requires.
  const test::Parents parents{revision_ref.id.value(), material.id, type.id};
  test::for_each_content_kind([&]<class Kind>() {
    std::vector<typename Kind::Record> records = {filler.make<typename Kind::Record>(), {}};
    for (auto& record : records) {
      record = test::referring<Kind>(std::move(record), parents);
      if constexpr (std::is_same_v<Kind, test::FabricKind>) record.fabric_type = type;
    }
    test::add_content<Kind>(project, records);
  });

  std::ofstream contents(name + ".txt");
  for (const std::string& line : test::project_contents(project)) contents << line << '\n';
  return contents.good() ? 0 : 1;
}
