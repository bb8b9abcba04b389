#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/cad/sheet.h"
#include "contracts/common/generic_reply.describe.h"
#include "contracts/common/variant.describe.h"

template <>
struct bond::Describe<korvane::model::cad::Sheet> {
  using T = korvane::model::cad::Sheet;
  static constexpr std::string_view qualified_name = "korvane.model.cad.Sheet";
  static constexpr std::array attributes = {Attribute{"DbStoreAsBlob", "raw"},
                                            Attribute{"DbPrimaryKey", "id"}};
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::id>{"id"}.stated());
    visit(Field<1, &T::uid>{"uid", {"DbOption", "unique"}});
    visit(Field<2, &T::name>{"name", {"DbOption", "ignore"}});
    visit(Field<3, &T::comment>{"comment", {"DbOption", "ignore"}});
    visit(Field<4, &T::properties>{"properties", {"DbOption", "ignore"}});
  }
};

template <>
struct bond::Describe<korvane::model::cad::SheetRef> {
  using T = korvane::model::cad::SheetRef;
  static constexpr std::string_view qualified_name = "korvane.model.cad.SheetRef";
  using base = korvane::GenericReply;
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::id>{"id"});
    visit(Field<1, &T::uid>{"uid"});
  }
};

template <>
struct bond::Describe<korvane::model::cad::ListSheets> {
  using T = korvane::model::cad::ListSheets;
  static constexpr std::string_view qualified_name = "korvane.model.cad.ListSheets";
  static constexpr void fields(auto&&) {}
};
