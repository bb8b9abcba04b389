#pragma once

#include <memory>

#include "host/service/mounted.h"
#include "server/revision_tag.h"

namespace korvane::server {

/// `GET …/lines`: the lines of a revision as a table, a page at a time.
host::MountedRoute lines_route();

/// `GET …/line`: all of one line. Its ETag is that of its revision.
host::MountedRoute line_route(std::shared_ptr<RevisionTags> tags);

}  // namespace korvane::server
