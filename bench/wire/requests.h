#pragma once

#include <array>
#include <string>

#include "bench/wire/caller.h"
#include "bench/wire/http_caller.h"
#include "bench/wire/rows.h"
#include "host/service/representation.h"

namespace korvane::bench::wire {

/// One for each operation: a body of HTTP, or a message.
using Bodies = std::array<std::string, kOperations>;

inline std::size_t index(Operation operation) { return static_cast<std::size_t>(operation); }

Bodies bodies_of(const Rows& rows, host::Representation form);

/// The requests of a project, whose operations are at `path` and a slash. `bodies` must outlive
/// them.
HttpRequests http_requests(const std::string& path, const Bodies& bodies,
                           host::Representation form);

}  // namespace korvane::bench::wire
