#pragma once

#include <functional>

namespace korvane::host {

/// Makes sure that fences hold on the connections that `run_sql` uses: that a fence for reading
/// refuses SQL that attaches a database. Throws std::runtime_error "the SQL fence does not hold on
/// the data layer's connections: …": they belong to another SQLite than the host's, or were opened
/// without the fence.
void require_fence(const std::function<void(const char* sql)>& run_sql);

/// The same for the sessions that the data layer's library makes, as plugins use them. For the
/// start of a server, before it loads a plugin.
void require_fence_on_data_layer();

}  // namespace korvane::host
