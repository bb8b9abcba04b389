#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/cad/project.h"
#include "contracts/common/variant.describe.h"

template <>
struct bond::Describe<korvane::model::cad::ProjectData> {
  using T = korvane::model::cad::ProjectData;
  static constexpr std::string_view qualified_name = "korvane.model.cad.ProjectData";
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::properties>{"properties"}); }
};

template <>
struct bond::Describe<korvane::model::cad::UpdateProject> {
  using T = korvane::model::cad::UpdateProject;
  static constexpr std::string_view qualified_name = "korvane.model.cad.UpdateProject";
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::item>{"item"}); }
};

template <>
struct bond::Describe<korvane::model::cad::GetProject> {
  using T = korvane::model::cad::GetProject;
  static constexpr std::string_view qualified_name = "korvane.model.cad.GetProject";
  static constexpr void fields(auto&&) {}
};

template <>
struct bond::Describe<korvane::model::cad::ClearProjectRequest> {
  using T = korvane::model::cad::ClearProjectRequest;
  static constexpr std::string_view qualified_name = "korvane.model.cad.ClearProjectRequest";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::reset_schema>{"reset_schema"}.stated());
  }
};

template <>
struct bond::Describe<korvane::model::cad::ProjectCleared> {
  using T = korvane::model::cad::ProjectCleared;
  static constexpr std::string_view qualified_name = "korvane.model.cad.ProjectCleared";
  static constexpr void fields(auto&&) {}
};
