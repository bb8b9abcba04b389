#pragma once

#include <cstdint>

#include "bond/nullable.h"
#include "contracts/cad/bar_spacer.h"
#include "contracts/cad/end_treatment.h"
#include "contracts/cad/fabric.h"
#include "contracts/cad/fabric_type.h"
#include "contracts/cad/material.h"
#include "contracts/cad/mounting_part.h"
#include "contracts/cad/project.h"
#include "contracts/cad/rebar.h"
#include "contracts/cad/revision.h"
#include "contracts/cad/sheet.h"
#include "model/tables/table.h"

/// What a project file is: its ten tables, each told once.
namespace korvane::model::tables {

/// The one table without `raw`.
template <>
struct Given<cad::EndTreatment> {};

template <>
struct Given<cad::Rebar> {
  Bytes raw;
  /// The ids of the rows of `end_treatment` that hold the bar's two treatments; NULL for none.
  bond::nullable<std::int32_t> end_treatment_start;
  bond::nullable<std::int32_t> end_treatment_end;
};

/// The table of `T`s, made anew by each call. All fields of a record that no column repeats live in
/// `raw` alone.
template <class T>
Table<T> table_of();

template <>
Table<cad::ProjectData> table_of();
template <>
Table<cad::Material> table_of();
template <>
Table<cad::Sheet> table_of();
template <>
Table<cad::Revision> table_of();
template <>
Table<cad::BarSpacer> table_of();
template <>
Table<cad::EndTreatment> table_of();
template <>
Table<cad::Rebar> table_of();
template <>
Table<cad::FabricType> table_of();
template <>
Table<cad::Fabric> table_of();
template <>
Table<cad::MountingPart> table_of();

/// Calls `visit(table)` for each of the ten tables, parents before their children: the order in
/// which they are made.
template <class Visit>
void for_each_table(Visit visit) {
  visit(table_of<cad::ProjectData>());
  visit(table_of<cad::Material>());
  visit(table_of<cad::Sheet>());
  visit(table_of<cad::Revision>());
  visit(table_of<cad::BarSpacer>());
  visit(table_of<cad::EndTreatment>());
  visit(table_of<cad::Rebar>());
  visit(table_of<cad::FabricType>());
  visit(table_of<cad::Fabric>());
  visit(table_of<cad::MountingPart>());
}

}  // namespace korvane::model::tables
