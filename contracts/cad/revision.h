#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bond/maybe.h"
#include "contracts/common/generic_reply.h"
#include "contracts/common/variant.h"

namespace korvane::model::cad {

/// One revision of the sheet whose `id` is `sheet_id`. `id` defaults to 0 where `Sheet` has -1:
/// the schema says so.
struct Revision {
  std::int32_t id = 0;
  std::string uid;
  std::string name;
  Properties properties;
  std::int32_t sheet_id = 0;

  bool operator==(const Revision&) const = default;
};

/// Names a revision by `id`, by `uid` or by both. Every value that is set counts.
struct RevisionRef : GenericReply {
  bond::maybe<std::int32_t> id;
  bond::maybe<std::string> uid;

  bool operator==(const RevisionRef&) const = default;
};

/// The reply of `get_all_revisions_for_sheetid`.
struct Revisions {
  std::vector<Revision> revisions;

  bool operator==(const Revisions&) const = default;
};

/// The request of `list_revisions`.
struct ListRevisions {
  bool operator==(const ListRevisions&) const = default;
};

}  // namespace korvane::model::cad
