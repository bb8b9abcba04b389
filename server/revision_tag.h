#pragma once

#include <optional>
#include <string>

#include "platform/project_rpc/project_service.h"
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

 private:
  FoundValues<std::string> tags_;
};

/// Whether a field If-Match has `tag`, which is a strong one, or is "*". Throws krv::rpc4::BadRequest
/// "If-Match: expected * or tags in quotes, found …".
bool matches(const std::string& if_match, const std::string& tag);

}  // namespace korvane::server
