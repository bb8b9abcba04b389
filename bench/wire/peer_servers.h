#pragma once

#include <memory>

#include "bench/wire/servers.h"

namespace korvane::bench::wire {

/// Each throws std::runtime_error where it does not start.
std::unique_ptr<Server> start_grpc();
std::unique_ptr<Server> start_node();
std::unique_ptr<Server> start_echo();

}  // namespace korvane::bench::wire
