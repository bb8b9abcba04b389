#pragma once

#include <string>
#include <string_view>

#include "contracts/cad/contracts.h"
#include "platform/project_rpc/service_macros.h"
#include "platform/project_rpc/table.h"
#include "platform/rpc4/operation.h"

namespace korvane::model::cad {

struct Project_Metadata {
  /// An open project's id is this, a colon and its number.
  static constexpr std::string_view GlobalInstanceID = "korvane.model.cad.Project";
};

/// The operations of a project, in order. The pairs, the dispatch by name and what is generated
/// from them derive from this list.
#define KORVANE_PROJECT_OPERATIONS(X)                                   \
  X(clear, ClearProjectRequest, GenericReply)                           \
  X(create_material, Material, MaterialRef)                             \
  X(update_material, Material, GenericReply)                            \
  X(delete_material, MaterialRef, GenericReply)                         \
  X(get_material, MaterialRef, Material)                                \
  X(try_get_material, MaterialRef, OptionalValue<Material>)             \
  X(list_materials, ListMaterials, Batch<Material>)                     \
  X(create_fabric_type, FabricType, FabricTypeRef)                      \
  X(update_fabric_type, FabricType, GenericReply)                       \
  X(delete_fabric_type, FabricTypeRef, GenericReply)                    \
  X(get_fabric_type, FabricTypeRef, FabricType)                         \
  X(try_get_fabric_type, FabricTypeRef, OptionalValue<FabricType>)      \
  X(list_fabric_type, ListFabricType, Batch<FabricType>)                \
  X(create_sheet, Sheet, SheetRef)                                      \
  X(update_sheet, Sheet, GenericReply)                                  \
  X(delete_sheet, SheetRef, GenericReply)                               \
  X(get_sheet, SheetRef, Sheet)                                         \
  X(try_get_sheet, SheetRef, OptionalValue<Sheet>)                      \
  X(list_sheets, ListSheets, Batch<Sheet>)                              \
  X(create_revision, Revision, RevisionRef)                             \
  X(update_revision, Revision, GenericReply)                            \
  X(delete_revision, RevisionRef, GenericReply)                         \
  X(get_revision, RevisionRef, Revision)                                \
  X(try_get_revision, RevisionRef, OptionalValue<Revision>)             \
  X(list_revisions, ListRevisions, Batch<Revision>)                     \
  X(get_project, GetProject, ProjectData)                               \
  X(update_project, UpdateProject, GenericReply)                        \
  X(get_all_rebars_for_revision, RevisionRef, Rebars)                   \
  X(get_all_barspacers_for_revision, RevisionRef, BarSpacers)           \
  X(clear_for_revision, RevisionRef, GenericReply)                      \
  X(get_all_revisions_for_sheetid, SheetRef, Revisions)                 \
  X(get_all_fabrics_for_revision, FabricRef, Fabrics)                   \
  X(add_fabric, Batch<Fabric>, GenericReply)                            \
  X(add_rebar, Batch<Rebar>, GenericReply)                              \
  X(get_rebars, RevisionRef, Batch<Rebar>)                              \
  X(add_barspacer, Batch<BarSpacer>, GenericReply)                      \
  X(add_mountingpart, Batch<MountingPart>, GenericReply)                \
  X(get_all_mountingparts_for_revision, MountingPartRef, MountingParts) \
  X(addget_rebar, Batch<Rebar>, Batch<Rebar>)                           \
  X(query_table, model::table::GET_TABLE, model::table::TABLE)          \
  X(query_value, model::table::GET_TABLE, Variant)

/// The skeleton of one open project. Failures leave an operation as exceptions; a `GenericReply` is
/// never written. Calls come one at a time. There is no virtual destructor: hold the concrete
/// class.
class Project_Service {
 public:
  using Skeleton = Project_Service;

  Project_Service(const Project_Service&) = delete;
  Project_Service& operator=(const Project_Service&) = delete;

  static const krv::rpc4::ServiceDefinition& definition();

  const std::string& id() const { return id_; }

  KORVANE_PROJECT_OPERATIONS(KORVANE_DECLARE_OPERATION_PAIR)

 protected:
  explicit Project_Service(std::string id);
  ~Project_Service();

 private:
  std::string id_;
};

}  // namespace korvane::model::cad
