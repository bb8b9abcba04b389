#pragma once

#include <vector>

#include "host/service/mounted.h"

namespace korvane::server {

/// What a server does with the schedule of a project, as routes beside the operations:
///
///     POST /v1/projects/{file}/import        stores the BVBS records or the JSON document in the body
///     GET  /v1/projects/{file}/export        gives the schedule as bvbs, csv, xlsx, json or ndjson
///     GET  /v1/projects/{file}/compare       says what has changed between two revisions
///     GET  /v1/projects/{file}/totals        adds up pieces, metres and kilograms
///     GET  /v1/projects/{file}/bending-list  gives the bending list as pdf, svg or html
///     GET  /v1/projects/{file}/sketch        draws the shape of one line as SVG
///     GET  /v1/projects/{file}/sketches      draws those of many
///     GET  /v1/projects/{file}/contents      gives sheets, revisions and catalogues
///     GET  /v1/projects/{file}/lines         gives the lines of a revision, a page at a time
///     GET  /v1/projects/{file}/line          gives all of one line
///     POST /v1/projects/{file}/edit          gives fields of a bar new values
///     GET  /v1/projects/{file}/changes       tells of changes as they happen
///
/// They call the same functions of schedule/ as the command line, and fail as these do.
std::vector<host::MountedRoute> project_routes();

/// All that the product's server has beside the services' operations, but the page.
host::Mounted mounted();

}  // namespace korvane::server
