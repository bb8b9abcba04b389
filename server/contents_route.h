#pragma once

#include "host/service/mounted.h"

namespace korvane::server {

/// `GET …/contents`: what a project has besides schedule lines, and how much of them.
host::MountedRoute contents_route();

}  // namespace korvane::server
