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

/// The operations of a project, in order, with the effect that they may have (krv::rpc4::Effect).
/// The pairs, the dispatch by name and what is generated from them derive from this list.
#define KORVANE_PROJECT_OPERATIONS(X)                                          \
  X(clear, ClearProjectRequest, GenericReply, writes)                          \
  X(create_material, Material, MaterialRef, writes)                            \
  X(update_material, Material, GenericReply, writes)                           \
  X(delete_material, MaterialRef, GenericReply, writes)                        \
  X(get_material, MaterialRef, Material, reads)                                \
  X(try_get_material, MaterialRef, OptionalValue<Material>, reads)             \
  X(list_materials, ListMaterials, Batch<Material>, reads)                     \
  X(create_fabric_type, FabricType, FabricTypeRef, writes)                     \
  X(update_fabric_type, FabricType, GenericReply, writes)                      \
  X(delete_fabric_type, FabricTypeRef, GenericReply, writes)                   \
  X(get_fabric_type, FabricTypeRef, FabricType, reads)                         \
  X(try_get_fabric_type, FabricTypeRef, OptionalValue<FabricType>, reads)      \
  X(list_fabric_type, ListFabricType, Batch<FabricType>, reads)                \
  X(create_sheet, Sheet, SheetRef, writes)                                     \
  X(update_sheet, Sheet, GenericReply, writes)                                 \
  X(delete_sheet, SheetRef, GenericReply, writes)                              \
  X(get_sheet, SheetRef, Sheet, reads)                                         \
  X(try_get_sheet, SheetRef, OptionalValue<Sheet>, reads)                      \
  X(list_sheets, ListSheets, Batch<Sheet>, reads)                              \
  X(create_revision, Revision, RevisionRef, writes)                            \
  X(update_revision, Revision, GenericReply, writes)                           \
  X(delete_revision, RevisionRef, GenericReply, writes)                        \
  X(get_revision, RevisionRef, Revision, reads)                                \
  X(try_get_revision, RevisionRef, OptionalValue<Revision>, reads)             \
  X(list_revisions, ListRevisions, Batch<Revision>, reads)                     \
  X(get_project, GetProject, ProjectData, reads)                               \
  X(update_project, UpdateProject, GenericReply, writes)                       \
  X(get_all_rebars_for_revision, RevisionRef, Rebars, reads)                   \
  X(get_all_barspacers_for_revision, RevisionRef, BarSpacers, reads)           \
  X(clear_for_revision, RevisionRef, GenericReply, writes)                     \
  X(get_all_revisions_for_sheetid, SheetRef, Revisions, reads)                 \
  X(get_all_fabrics_for_revision, FabricRef, Fabrics, reads)                   \
  X(add_fabric, Batch<Fabric>, GenericReply, writes)                           \
  X(add_rebar, Batch<Rebar>, GenericReply, writes)                             \
  X(get_rebars, RevisionRef, Batch<Rebar>, reads)                              \
  X(add_barspacer, Batch<BarSpacer>, GenericReply, writes)                     \
  X(add_mountingpart, Batch<MountingPart>, GenericReply, writes)               \
  X(get_all_mountingparts_for_revision, MountingPartRef, MountingParts, reads) \
  X(addget_rebar, Batch<Rebar>, Batch<Rebar>, writes)                          \
  X(query_table, model::table::GET_TABLE, model::table::TABLE, queries)        \
  X(query_value, model::table::GET_TABLE, Variant, queries)

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
