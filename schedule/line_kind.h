#pragma once

#include <string>
#include <string_view>

#include "contracts/cad/bar_spacer.h"
#include "contracts/cad/fabric.h"
#include "contracts/cad/mounting_part.h"
#include "contracts/cad/rebar.h"

/// The four kinds of schedule lines.
namespace korvane::schedule {

/// What a kind of lines is called: kName by programs and as a table of results, kOne in a sentence;
/// kTable is the table of the project's file that it is stored in.
template <class T>
struct LineKind;

template <>
struct LineKind<model::cad::Rebar> {
  using Line = model::cad::Rebar;
  static constexpr const char* kName = "bars";
  static constexpr const char* kOne = "bar";
  static constexpr const char* kTable = "rebar";
};
template <>
struct LineKind<model::cad::Fabric> {
  using Line = model::cad::Fabric;
  static constexpr const char* kName = "fabrics";
  static constexpr const char* kOne = "fabric";
  static constexpr const char* kTable = "fabric";
};
template <>
struct LineKind<model::cad::BarSpacer> {
  using Line = model::cad::BarSpacer;
  static constexpr const char* kName = "bar_spacers";
  static constexpr const char* kOne = "bar spacer";
  static constexpr const char* kTable = "barspacer";
};
template <>
struct LineKind<model::cad::MountingPart> {
  using Line = model::cad::MountingPart;
  static constexpr const char* kName = "mounting_parts";
  static constexpr const char* kOne = "mounting part";
  static constexpr const char* kTable = "mountingpart";
};

/// Calls `visit(LineKind<T>{})` for each of them, in the order in which they are always named.
template <class Visit>
void for_each_line_kind(Visit visit) {
  visit(LineKind<model::cad::Rebar>{});
  visit(LineKind<model::cad::Fabric>{});
  visit(LineKind<model::cad::BarSpacer>{});
  visit(LineKind<model::cad::MountingPart>{});
}

/// Calls `visit` for the kind of that name (kName), if there is one.
template <class Visit>
void with_line_kind(std::string_view name, Visit visit) {
  for_each_line_kind([&](auto kind) {
    if (name == kind.kName) visit(kind);
  });
}

}  // namespace korvane::schedule
