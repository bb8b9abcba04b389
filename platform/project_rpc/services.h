#pragma once

#include <span>

#include "platform/rpc4/operation.h"

namespace korvane::rpc {

/// The skeletons of this library.
std::span<const krv::rpc4::ServiceDefinition* const> service_definitions();

}  // namespace korvane::rpc
