#pragma once

#include <optional>
#include <string>

#include "platform/project_rpc/project_service.h"
#include "platform/rpc4/directory.h"
#include "platform/rpc4/operation.h"
#include "schedule/structure.h"
#include "server/project_state.h"

namespace korvane::server {

/// Entity tags of revisions (RFC 9110, 8.8.3). Two contents with the same tag are the same, byte for
/// byte and in the same order, whatever the ids of their rows; so is the revision's own record. Any
/// thread may use it.
class RevisionTags {
 public:
  /// The strong tag of what the revision has now, in its quotes. The whole content is read where it
  /// is not known. Throws what `query_table` throws.
  std::string tag_of(model::cad::Project_Service& project, const schedule::RevisionEntry& revision);
  /// The same of the revision that is meant, or nothing where there is none.
  std::optional<std::string> find(model::cad::Project_Service& project,
                                  const krv::rpc4::Subject& subject);

 private:
  FoundValues<std::string> tags_;
};

/// The strong tag of an entry of a project, for host::Mounted::tag_of: of a revision that of `tags`, of
/// another entry of its row. Nothing where there is none. Throws what `query_table` throws.
std::optional<std::string> tag_of(const krv::rpc4::LiveService& project,
                                  const krv::rpc4::Subject& subject, RevisionTags& tags);

}  // namespace korvane::server
