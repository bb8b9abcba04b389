#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/cad/revision.h"
#include "contracts/common/generic_reply.describe.h"
#include "contracts/common/variant.describe.h"

template <>
struct bond::Describe<korvane::model::cad::Revision> {
  using T = korvane::model::cad::Revision;
  static constexpr std::string_view qualified_name = "korvane.model.cad.Revision";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::id>{"id"});
    visit(Field<1, &T::uid>{"uid"});
    visit(Field<2, &T::name>{"name"});
    visit(Field<3, &T::properties>{"properties"});
    visit(Field<4, &T::sheet_id>{"sheet_id"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::RevisionRef> {
  using T = korvane::model::cad::RevisionRef;
  static constexpr std::string_view qualified_name = "korvane.model.cad.RevisionRef";
  using base = korvane::GenericReply;
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::id>{"id"});
    visit(Field<1, &T::uid>{"uid"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::Revisions> {
  using T = korvane::model::cad::Revisions;
  static constexpr std::string_view qualified_name = "korvane.model.cad.Revisions";
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::revisions>{"revisions"}); }
};

template <>
struct bond::Describe<korvane::model::cad::ListRevisions> {
  using T = korvane::model::cad::ListRevisions;
  static constexpr std::string_view qualified_name = "korvane.model.cad.ListRevisions";
  static constexpr void fields(auto&&) {}
};
