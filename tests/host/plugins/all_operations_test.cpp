// Every operation of both services, over one project, as a host delivers them: the service found by
// its id, the operation by its name, request and reply as bytes.

#include <set>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contracts/encoding/record_codec.h"
#include "host/plugins/plugin.h"
#include "platform/project_rpc/project_manager_service.h"
#include "platform/project_rpc/project_service.h"
#include "platform/rpc4/directory.h"
#include "tests/support/temporary_folder.h"

namespace korvane::host {
namespace {

using namespace model::cad;
namespace table = model::table;

template <class Ref>
Ref ref_of(std::int32_t id, const std::string& uid) {
  Ref ref;
  ref.id = id;
  ref.uid = uid;
  return ref;
}

template <class Ref>
Ref by_id(std::int32_t id) {
  Ref ref;
  ref.id = id;
  return ref;
}

template <class T>
OptionalValue<T> just(const T& value) {
  OptionalValue<T> optional;
  optional.value = value;
  return optional;
}

class AllOperations : public testing::Test {
 protected:
  /// Delivers one call to the service that is addressed now.
  template <class Reply, class Request>
  Reply call(const std::string& operation, const Request& request) {
    const auto service = krv::rpc4::find_live_service(service_id_);
    if (!service) throw std::runtime_error("not live: " + service_id_);
    const krv::rpc4::Operation* const found = service->definition->find(operation);
    if (found == nullptr) throw std::runtime_error("no operation " + operation);
    called_.insert(service_id_.substr(0, service_id_.find(':')) + "." + operation);
    return encoding::decode<Reply>(
        found->call(service->service, encoding::encode(request), {"127.0.0.1"}));
  }

  void address(const std::string& service_id) { service_id_ = service_id; }

  test::TemporaryFolder folder_;
  Plugin plugin_{KORVANE_PLUGIN_FILE};
  std::string service_id_;
  std::set<std::string> called_;
};

TEST_F(AllOperations, AnswerByNameOverOneProject) {
  const GenericReply nothing;
  const std::string manager(ProjectManager_Metadata::GlobalInstanceID);

  address(manager);
  model::OpenProjectRequest open;
  open.filename = folder_.file("./project.db");
  const auto opened = call<model::OpenProjectResponse>("open", open);
  model::OpenProjectResponse expected_opened;
  expected_opened.service_id = "korvane.model.cad.Project:0";
  EXPECT_EQ(opened, expected_opened);
  model::ProjectList expected_list;
  expected_list.projects = {{"korvane.model.cad.Project:0", folder_.file("project.db"), ""}};
  EXPECT_EQ(call<model::ProjectList>("list_", model::ListProjectRequest{}), expected_list);

  address(opened.service_id);
  Material material;
  material.uid = "m";
  material.identity.name = "B500A";
  EXPECT_EQ(call<MaterialRef>("create_material", material), ref_of<MaterialRef>(1, "m"));
  material.id = 1;
  material.physical.density = 7850;
  EXPECT_EQ(call<GenericReply>("update_material", material), nothing);
  EXPECT_EQ(call<Material>("get_material", by_id<MaterialRef>(1)), material);
  EXPECT_EQ(call<OptionalValue<Material>>("try_get_material", by_id<MaterialRef>(1)),
            just(material));
  EXPECT_EQ(call<Batch<Material>>("list_materials", ListMaterials{}), Batch<Material>{{material}});

  FabricType type;
  type.uid = "f";
  type.type_name = "Q257";
  type.material = material;
  EXPECT_EQ(call<FabricTypeRef>("create_fabric_type", type), ref_of<FabricTypeRef>(1, "f"));
  type.id = 1;
  type.uid = "f2";
  type.list_fabric.set().along_distance = 150;
  EXPECT_EQ(call<GenericReply>("update_fabric_type", type), nothing);
  EXPECT_EQ(call<FabricType>("get_fabric_type", by_id<FabricTypeRef>(1)), type);
  EXPECT_EQ(call<OptionalValue<FabricType>>("try_get_fabric_type", by_id<FabricTypeRef>(1)),
            just(type));
  EXPECT_EQ(call<Batch<FabricType>>("list_fabric_type", ListFabricType{}),
            Batch<FabricType>{{type}});

  Sheet sheet;
  sheet.uid = "s";
  sheet.name = "417";
  EXPECT_EQ(call<SheetRef>("create_sheet", sheet), ref_of<SheetRef>(1, "s"));
  sheet.id = 1;
  sheet.comment = "ground floor";
  sheet.properties["scale"].value_int32.set(50);
  EXPECT_EQ(call<GenericReply>("update_sheet", sheet), nothing);
  EXPECT_EQ(call<Sheet>("get_sheet", by_id<SheetRef>(1)), sheet);
  EXPECT_EQ(call<OptionalValue<Sheet>>("try_get_sheet", by_id<SheetRef>(1)), just(sheet));
  EXPECT_EQ(call<Batch<Sheet>>("list_sheets", ListSheets{}), Batch<Sheet>{{sheet}});

  Revision revision;
  revision.uid = "r";
  revision.sheet_id = 1;
  EXPECT_EQ(call<RevisionRef>("create_revision", revision), ref_of<RevisionRef>(1, "r"));
  revision.id = 1;
  revision.name = "a";
  EXPECT_EQ(call<GenericReply>("update_revision", revision), nothing);
  EXPECT_EQ(call<Revision>("get_revision", by_id<RevisionRef>(1)), revision);
  EXPECT_EQ(call<OptionalValue<Revision>>("try_get_revision", by_id<RevisionRef>(1)),
            just(revision));
  EXPECT_EQ(call<Batch<Revision>>("list_revisions", ListRevisions{}), Batch<Revision>{{revision}});
  EXPECT_EQ(call<Revisions>("get_all_revisions_for_sheetid", by_id<SheetRef>(1)),
            Revisions{{revision}});

  UpdateProject update;
  update.item.properties["name"].value_string.set("Tower");
  EXPECT_EQ(call<GenericReply>("update_project", update), nothing);
  EXPECT_EQ(call<ProjectData>("get_project", GetProject{}), update.item);

  Rebar bar;
  bar.id = 77;
  bar.rev_id = 1;
  bar.mark = "12";
  bar.material_id.set(1);
  bar.total_bars = 14;
  bar.end_treatment_start.set().type = "coupler";
  EXPECT_EQ(call<GenericReply>("add_rebar", Batch<Rebar>{{bar, bar}}), nothing);
  EXPECT_EQ(call<Batch<Rebar>>("addget_rebar", Batch<Rebar>{{bar}}), Batch<Rebar>{});
  EXPECT_EQ(call<Batch<Rebar>>("get_rebars", by_id<RevisionRef>(1)), (Batch<Rebar>{{bar, bar}}));
  EXPECT_EQ(call<Rebars>("get_all_rebars_for_revision", by_id<RevisionRef>(1)),
            (Rebars{{bar, bar}}));

  Fabric fabric;
  fabric.rev_id = 1;
  fabric.mark = "M1";
  fabric.fabric_type = type;
  EXPECT_EQ(call<GenericReply>("add_fabric", Batch<Fabric>{{fabric}}), nothing);
  FabricRef fabric_ref;
  fabric_ref.rev_id = 1;
  EXPECT_EQ(call<Fabrics>("get_all_fabrics_for_revision", fabric_ref), Fabrics{{fabric}});

  BarSpacer spacer;
  spacer.rev_id = 1;
  spacer.name = "DS16";
  EXPECT_EQ(call<GenericReply>("add_barspacer", Batch<BarSpacer>{{spacer}}), nothing);
  EXPECT_EQ(call<BarSpacers>("get_all_barspacers_for_revision", by_id<RevisionRef>(1)),
            BarSpacers{{spacer}});

  MountingPart part;
  part.rev_id = 1;
  part.material_id = 1;
  part.comment.set("");
  EXPECT_EQ(call<GenericReply>("add_mountingpart", Batch<MountingPart>{{part}}), nothing);
  MountingPartRef part_ref;
  part_ref.rev_id = 1;
  EXPECT_EQ(call<MountingParts>("get_all_mountingparts_for_revision", part_ref),
            MountingParts{{part}});

  table::GET_TABLE query;
  query.kind = "sql:raw";
  query.params["query"].value_string.set("select mark, total_bars from rebar where id = 1");
  table::TABLE expected_table;
  expected_table.columns = {{"mark", 2}, {"total_bars", 0}};
  expected_table.rows.resize(1, std::vector<Variant>(2));
  expected_table.rows[0][0].value_string.set("12");
  expected_table.rows[0][1].value_int32.set(14);
  EXPECT_EQ(call<table::TABLE>("query_table", query), expected_table);
  EXPECT_EQ(call<Variant>("query_value", query), Variant{});

  EXPECT_EQ(call<GenericReply>("clear_for_revision", by_id<RevisionRef>(1)), nothing);
  EXPECT_EQ(call<Rebars>("get_all_rebars_for_revision", by_id<RevisionRef>(1)), Rebars{});
  EXPECT_EQ(call<MountingParts>("get_all_mountingparts_for_revision", part_ref),
            MountingParts{{part}});
  EXPECT_EQ(call<GenericReply>("delete_revision", by_id<RevisionRef>(1)), nothing);
  EXPECT_EQ(call<MountingParts>("get_all_mountingparts_for_revision", part_ref), MountingParts{});
  EXPECT_EQ(call<GenericReply>("delete_sheet", by_id<SheetRef>(1)), nothing);
  EXPECT_EQ(call<GenericReply>("delete_fabric_type", by_id<FabricTypeRef>(1)), nothing);
  EXPECT_EQ(call<GenericReply>("delete_material", by_id<MaterialRef>(1)), nothing);
  EXPECT_EQ(call<OptionalValue<Material>>("try_get_material", by_id<MaterialRef>(1)),
            OptionalValue<Material>{});
  EXPECT_EQ(call<GenericReply>("clear", ClearProjectRequest{}), nothing);
  EXPECT_EQ(call<ProjectData>("get_project", GetProject{}), ProjectData{});

  std::set<std::string> all;
  for (const auto& operation : ProjectManager_Service::definition().operations) {
    all.insert(manager + "." + std::string(operation.name));
  }
  for (const auto& operation : Project_Service::definition().operations) {
    all.insert("korvane.model.cad.Project." + std::string(operation.name));
  }
  EXPECT_EQ(all.size(), 43U);
  EXPECT_EQ(called_, all);
}

}  // namespace
}  // namespace korvane::host
