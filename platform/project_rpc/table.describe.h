#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/common/variant.describe.h"
#include "platform/project_rpc/table.h"

template <>
struct bond::Describe<korvane::model::table::GET_TABLE> {
  using T = korvane::model::table::GET_TABLE;
  static constexpr std::string_view qualified_name = "korvane.model.table.GET_TABLE";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::kind>{"kind"});
    visit(Field<1, &T::params>{"params"}.remarked(
        "a keyword of C#: for C# give it another name here; Compact Binary carries no names"));
  }
};

template <>
struct bond::Describe<korvane::model::table::TableColumn> {
  using T = korvane::model::table::TableColumn;
  static constexpr std::string_view qualified_name = "korvane.model.table.TableColumn";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::name>{"name"});
    visit(Field<1, &T::kind>{"kind"}.stated());
  }
};

template <>
struct bond::Describe<korvane::model::table::TABLE> {
  using T = korvane::model::table::TABLE;
  static constexpr std::string_view qualified_name = "korvane.model.table.TABLE";
  static constexpr void fields(auto&& visit) {
    visit(Field<0, &T::columns>{"columns"});
    visit(Field<1, &T::rows>{"rows"});
  }
};
