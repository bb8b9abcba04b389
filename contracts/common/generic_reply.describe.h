#pragma once

#include <array>
#include <string_view>

#include "bond/describe.h"
#include "contracts/common/generic_reply.h"

template <>
struct bond::Describe<korvane::GenericReply> {
  using T = korvane::GenericReply;
  static constexpr std::string_view qualified_name = "korvane.GenericReply";
  static constexpr void fields(auto&& visit) { visit(Field<0, &T::error>{"error"}); }
};
