#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/common/generic_reply.describe.h"
#include "platform/project_rpc/open_project.h"

template <>
struct bond::Describe<korvane::model::OpenProjectRequest> {
  using T = korvane::model::OpenProjectRequest;
  static constexpr std::string_view qualified_name = "korvane.model.OpenProjectRequest";
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::filename>{"filename"}); }
};

template <>
struct bond::Describe<korvane::model::OpenProjectResponse> {
  using T = korvane::model::OpenProjectResponse;
  static constexpr std::string_view qualified_name = "korvane.model.OpenProjectResponse";
  using base = korvane::GenericReply;
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::service_id>{"service_id"}); }
};

template <>
struct bond::Describe<korvane::model::ListProjectRequest> {
  using T = korvane::model::ListProjectRequest;
  static constexpr std::string_view qualified_name = "korvane.model.ListProjectRequest";
  static constexpr void fields(auto&&) {}
};

template <>
struct bond::Describe<korvane::model::ProjectInfo> {
  using T = korvane::model::ProjectInfo;
  static constexpr std::string_view qualified_name = "korvane.model.ProjectInfo";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::service_id>{"service_id"});
    visit(Field<1, &T::filename>{"filename"});
    visit(Field<2, &T::extra>{"extra"});
  }
};

template <>
struct bond::Describe<korvane::model::ProjectList> {
  using T = korvane::model::ProjectList;
  static constexpr std::string_view qualified_name = "korvane.model.ProjectList";
  using base = korvane::GenericReply;
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::projects>{"projects"}); }
};
