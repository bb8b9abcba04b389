#pragma once

#include <cstdint>
#include <string>

#include "bond/maybe.h"
#include "contracts/common/generic_reply.h"
#include "contracts/common/variant.h"

namespace korvane::model::cad {

/// A drawing sheet. `id` and `uid` are the store's; the rest is the client's.
struct Sheet {
  std::int32_t id = -1;
  std::string uid;
  std::string name;
  std::string comment;
  Properties properties;

  bool operator==(const Sheet&) const = default;
};

/// Names a sheet by `id`, by `uid` or by both. Every value that is set counts.
struct SheetRef : GenericReply {
  bond::maybe<std::int32_t> id;
  bond::maybe<std::string> uid;

  bool operator==(const SheetRef&) const = default;
};

/// The request of `list_sheets`.
struct ListSheets {
  bool operator==(const ListSheets&) const = default;
};

}  // namespace korvane::model::cad
