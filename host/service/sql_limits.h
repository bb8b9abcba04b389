#pragma once

#include "host/access/sql_fence.h"
#include "host/service/call.h"

/// What the SQL of a call may do, by its operation and its client.
namespace korvane::host {

/// Whether it is a query that may only read. A link can be made and followed by anyone, so that a GET
/// never writes, whoever sends it.
bool is_fenced_query(const Call& call);

SqlFenceLimits sql_limits(const Call& call);

}  // namespace korvane::host
