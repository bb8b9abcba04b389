#pragma once

#include "host/service/mounted.h"

namespace korvane::server {

/// `GET …/bending-list`: the bending list as PDF, SVG or HTML.
host::MountedRoute bending_list_route();

/// `GET …/sketch`: the shape of one bar or fabric as SVG, small and fast enough for a grid that
/// shows one in every line.
host::MountedRoute sketch_route();

/// `GET …/sketches`: the shapes of many, in one reply.
host::MountedRoute sketches_route();

}  // namespace korvane::server
