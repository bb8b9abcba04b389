#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/cad/material.h"
#include "contracts/common/generic_reply.describe.h"

template <>
struct bond::Describe<korvane::model::cad::Material_Identity> {
  using T = korvane::model::cad::Material_Identity;
  static constexpr std::string_view qualified_name = "korvane.model.cad.Material_Identity";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::name>{"name"});
    visit(Field<1, &T::description>{"description"});
    visit(Field<2, &T::keyword>{"keyword"});
    visit(Field<3, &T::comment>{"comment"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::Material_Physical> {
  using T = korvane::model::cad::Material_Physical;
  static constexpr std::string_view qualified_name = "korvane.model.cad.Material_Physical";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::name>{"name"});
    visit(Field<1, &T::description>{"description"});
    visit(Field<2, &T::keyword>{"keyword"});
    visit(Field<3, &T::comment>{"comment"});
    visit(Field<4, &T::density>{"density"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::Material> {
  using T = korvane::model::cad::Material;
  static constexpr std::string_view qualified_name = "korvane.model.cad.Material";
  static constexpr std::array attributes = {Attribute{"DbStoreAsBlob", "raw"}};
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::id>{"id"}.stated());
    visit(Field<1, &T::uid>{"uid"});
    visit(Field<2, &T::identity>{"identity"});
    visit(Field<3, &T::physical>{"physical"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::MaterialRef> {
  using T = korvane::model::cad::MaterialRef;
  static constexpr std::string_view qualified_name = "korvane.model.cad.MaterialRef";
  using base = korvane::GenericReply;
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::id>{"id"});
    visit(Field<1, &T::uid>{"uid"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::ListMaterials> {
  using T = korvane::model::cad::ListMaterials;
  static constexpr std::string_view qualified_name = "korvane.model.cad.ListMaterials";
  static constexpr void fields(auto&&) {}
};
