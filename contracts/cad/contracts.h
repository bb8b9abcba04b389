#pragma once

#include "contracts/cad/bar_spacer.h"
#include "contracts/cad/diff_state.h"
#include "contracts/cad/end_treatment.h"
#include "contracts/cad/fabric.h"
#include "contracts/cad/fabric_type.h"
#include "contracts/cad/hook.h"
#include "contracts/cad/image_options.h"
#include "contracts/cad/material.h"
#include "contracts/cad/mounting_part.h"
#include "contracts/cad/project.h"
#include "contracts/cad/rebar.h"
#include "contracts/cad/rebar_geometry.h"
#include "contracts/cad/rebar_params.h"
#include "contracts/cad/revision.h"
#include "contracts/cad/sheet.h"
#include "contracts/cad/table_filter.h"
#include "contracts/cad/textblock.h"
#include "contracts/common/batch.h"
#include "contracts/common/optional_value.h"

/// All contracts of `korvane::model::cad`, each once. Whatever is made or listed for each contract
/// derives from these lists.
#define KORVANE_CAD_CONTRACTS(X) \
  X(BarSpacer)                   \
  X(BarSpacers)                  \
  X(EndTreatment)                \
  X(Fabric)                      \
  X(Fabrics)                     \
  X(FabricRef)                   \
  X(FabricInfo)                  \
  X(ListenMatten)                \
  X(FabricType)                  \
  X(FabricTypeRef)               \
  X(ListFabricType)              \
  X(Hook)                        \
  X(CreateImageOptions)          \
  X(Material_Identity)           \
  X(Material_Physical)           \
  X(Material)                    \
  X(MaterialRef)                 \
  X(ListMaterials)               \
  X(MountingPart)                \
  X(MountingParts)               \
  X(MountingPartRef)             \
  X(ProjectData)                 \
  X(UpdateProject)               \
  X(GetProject)                  \
  X(ClearProjectRequest)         \
  X(ProjectCleared)              \
  X(Rebar)                       \
  X(Rebars)                      \
  X(CreateRebars)                \
  X(GenerateBendingSchedule)     \
  X(GeometryLabel)               \
  X(GeometryObject)              \
  X(RebarGeometry)               \
  X(RebarParams)                 \
  X(Revision)                    \
  X(RevisionRef)                 \
  X(Revisions)                   \
  X(ListRevisions)               \
  X(Sheet)                       \
  X(SheetRef)                    \
  X(ListSheets)                  \
  X(Filter)                      \
  X(TableFilter)                 \
  X(Cell)                        \
  X(TextblockRow)                \
  X(TextblockTable)              \
  X(Textblock)
#define KORVANE_CAD_ENUMERATIONS(X) \
  X(DiffState)                      \
  X(EndTreatmentType)               \
  X(HookDirection)                  \
  X(HookType)                       \
  X(DimTextStyle)                   \
  X(GeometryLabelType)              \
  X(GeometryObjectType)

/// The records that travel in a `Batch<T>`, and those that travel in an `OptionalValue<T>`.
#define KORVANE_BATCH_ITEMS(X) \
  X(Material)                  \
  X(FabricType)                \
  X(Sheet)                     \
  X(Revision)                  \
  X(Rebar)                     \
  X(Fabric)                    \
  X(BarSpacer)                 \
  X(MountingPart)
#define KORVANE_OPTIONAL_VALUES(X) \
  X(Material)                      \
  X(FabricType)                    \
  X(Sheet)                         \
  X(Revision)
