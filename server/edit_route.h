#pragma once

#include <memory>

#include "host/service/mounted.h"
#include "server/revision_tag.h"

namespace korvane::server {

/// `POST …/edit`: new values for one bar, or what they would change.
host::MountedRoute edit_route(std::shared_ptr<RevisionTags> tags);

}  // namespace korvane::server
