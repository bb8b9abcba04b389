#pragma once

#include "host/service/call_room.h"

namespace korvane::tools {

/// Makes the views of sqlite/extension for queries that name them, and drops them after: a server
/// has many projects open. Must be called before the first project is opened.
host::AroundQuery served_views();

}  // namespace korvane::tools
