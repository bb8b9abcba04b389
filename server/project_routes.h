#pragma once

#include <vector>

#include "host/service/mounted.h"

namespace korvane::server {

/// What the server does with a schedule, as routes of a project (schedule/):
///
///     POST /v1/projects/{file}/import    a schedule in the body: BVBS records, or a JSON document
///     GET  /v1/projects/{file}/export    the schedule as bvbs, csv, xlsx, json or ndjson
///     GET  /v1/projects/{file}/compare   two revisions of a sheet
///     GET  /v1/projects/{file}/totals    pieces, metres and kilograms
///     GET  /v1/projects/{file}/schedule  the lines of revisions as tables
///
/// Failures are those of the functions that they call.
std::vector<host::MountedRoute> project_routes();

}  // namespace korvane::server
