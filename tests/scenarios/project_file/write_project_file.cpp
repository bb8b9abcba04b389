// Writes a project file with rows in every table, and beside it a text file with the records that
// were sent. Run once for each version whose format differs; what it wrote is checked in and never
// made anew.
//
//   write_project_file tests/data/project_files/0.1.0

#include <fstream>
#include <iostream>
#include <string>

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
  const std::int32_t rev_id = revision_ref.id.value();
  Batch<Rebar> bars{{filler.make<Rebar>(), {}}};
  for (Rebar& bar : bars.items) {
    bar.rev_id = rev_id;
    bar.material_id.set(material.id);
  }
  project.add_rebar(bars, reply);
  Batch<Fabric> fabrics{{filler.make<Fabric>(), {}}};
  for (Fabric& fabric : fabrics.items) {
    fabric.rev_id = rev_id;
    fabric.fabric_type = type;
  }
  project.add_fabric(fabrics, reply);
  Batch<BarSpacer> spacers{{filler.make<BarSpacer>(), {}}};
  for (BarSpacer& spacer : spacers.items) spacer.rev_id = rev_id;
  project.add_barspacer(spacers, reply);
  Batch<MountingPart> parts{{filler.make<MountingPart>(), {}}};
  for (MountingPart& part : parts.items) {
    part.rev_id = rev_id;
    part.material_id = material.id;
  }
  project.add_mountingpart(parts, reply);

  std::ofstream contents(name + ".txt");
  for (const std::string& line : test::project_contents(project)) contents << line << '\n';
  return contents.good() ? 0 : 1;
}
