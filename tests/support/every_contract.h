#pragma once

#include "contracts/cad/contracts.describe.h"
#include "contracts/common/contracts.describe.h"
#include "contracts/geometry/contracts.describe.h"
#include "platform/project_rpc/contracts.h"
#include "platform/project_rpc/open_project.describe.h"
#include "platform/project_rpc/table.describe.h"

namespace korvane::test {

/// Calls `visitor.operator()<T>()` for every contract; for the generic ones with each of their item
/// types.
template <class Visitor>
void for_each_contract(Visitor&& visitor) {
#define VISIT_COMMON(name) visitor.template operator()<korvane::name>();
#define VISIT_GEOMETRY(name) visitor.template operator()<korvane::model::geometry::name>();
#define VISIT_CAD(name) visitor.template operator()<korvane::model::cad::name>();
#define VISIT_BATCH(name) visitor.template operator()<korvane::Batch<korvane::model::cad::name>>();
#define VISIT_OPTIONAL_VALUE(name) \
  visitor.template operator()<korvane::OptionalValue<korvane::model::cad::name>>();
#define VISIT_PROJECT_RPC(name) visitor.template operator()<korvane::model::name>();
  KORVANE_COMMON_CONTRACTS(VISIT_COMMON)
  KORVANE_GEOMETRY_CONTRACTS(VISIT_GEOMETRY)
  KORVANE_CAD_CONTRACTS(VISIT_CAD)
  KORVANE_BATCH_ITEMS(VISIT_BATCH)
  KORVANE_OPTIONAL_VALUES(VISIT_OPTIONAL_VALUE)
  KORVANE_PROJECT_RPC_CONTRACTS(VISIT_PROJECT_RPC)
#undef VISIT_COMMON
#undef VISIT_GEOMETRY
#undef VISIT_CAD
#undef VISIT_BATCH
#undef VISIT_OPTIONAL_VALUE
#undef VISIT_PROJECT_RPC
}

}  // namespace korvane::test
